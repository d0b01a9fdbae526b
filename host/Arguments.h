#pragma once

#include <optional>
#include <string>
#include <vector>

namespace korvane {

/// The command line of korvane-share, taken apart; nothing is read or looked up yet.
struct Arguments {
  enum class Action { share, help, version };

  /// One thing to share. Texts are bytes as the command line had them.
  struct Thing {
    enum class Kind {
      item,   ///< a path, a URL, or "-" for standard input
      text,   ///< accompanying text
      html,   ///< a file of accompanying styled text, or "-"
      image,  ///< a file handed over as image data, or "-"
    };
    Kind kind;
    std::string value;
    friend bool operator==(const Thing&, const Thing&) = default;
  };

  Action action = Action::share;
  /// In the order given.
  std::vector<Thing> things;
  std::optional<std::string> title;
  /// A file that holds a request, or "-". Then there are neither things nor a title.
  std::optional<std::string> request;
  /// The bundle identifier to run under; empty: that of the installed info dictionary.
  std::string identifier;
  bool dryRun = false;
  bool verbose = false;
};

/// Takes the arguments (without the program's name) apart. Options may stand anywhere before "--",
/// which ends them; "--title=TEXT" and "--title TEXT" are the same; an option's argument may begin
/// with a dash. Throws InputError for an unknown option, a missing or empty argument, what may be
/// given only once, and things that exclude one another. "--help" and "--version" win over
/// everything that follows them.
Arguments parseArguments(const std::vector<std::string>& arguments);

/// What --help prints.
std::string helpText();
/// What --version prints.
std::string versionText();

}  // namespace korvane
