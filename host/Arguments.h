#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/CommandLine.h"

namespace korvane {

/// The command line of korvane-share, taken apart; nothing is read or looked up yet.
struct Arguments {
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

  /// In the order given.
  std::vector<Thing> things;
  std::optional<std::string> title;
  /// A file that holds a request, or "-"; empty without one. Then there are neither things nor a
  /// title.
  std::string request;
  /// What the clipboard holds is shared. Then there is nothing else.
  bool clipboard = false;
  /// A picture of the screen is taken and shared. Then there is nothing else.
  bool screenshot = false;
  /// The bundle identifier to run under; empty: that of the installed info dictionary.
  std::string identifier;
  bool dryRun = false;
  bool json = false;
  /// Whether notifications are shown; absent where that goes by standard error.
  std::optional<bool> notify;
  bool verbose = false;
  /// What is installed is told, and nothing is shared. Then there are no things.
  bool doctor = false;
};

/// The command line of korvane-share, which puts what it takes into `arguments`. What may be given
/// only once, and things that exclude one another, are wrong usage.
CommandLine shareCommandLine(Arguments& arguments);

}  // namespace korvane
