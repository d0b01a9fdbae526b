#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "linux/LinuxPlatform.h"

namespace korvane {

/// What is installed and what a share would do, for a bug report. Nothing private: the home folder
/// is "~" in every path, and no name of a person, machine, file or account is in it.
struct Diagnosis {
  std::string version;
  /// The extension's bundle identifier; empty where the info dictionary is missing.
  std::string extension;
  /// The application that a share opens.
  std::string application;

  struct Container {
    std::string path;  ///< Empty where there is no place for one.
    bool exists = false;
    bool isOwn = false;       ///< It is this user's.
    bool isWritable = false;  ///< Where it does not exist: it can be made.
    unsigned rights = 0;      ///< As chmod takes them.
  } container;

  /// How the application would be reached.
  enum class Road { none, running, startedByBus, startedByEntry };
  struct Client {
    Road road = Road::none;
    std::string entry;  ///< The path of its desktop entry; empty where there is none.
    /// Where korvane-compose stands in for it: the mail program that it would open, or why it would
    /// open none.
    std::optional<std::string> mailProgram;
    std::string why;
  } client;

  /// A place from which people share; no path where its entry is not installed.
  struct Entry {
    std::string_view name;
    std::string path;
  };
  std::vector<Entry> entries;

  struct Session {
    std::string type;     ///< "wayland", "x11"; empty where it is not told.
    std::string desktop;  ///< "GNOME"; empty where it is not told.
    bool hasBus = false;
    bool hasPortal = false;
    bool hasNotifications = false;
  } session;

  /// The picture formats that can be decoded, as gdk-pixbuf calls them, in alphabetical order.
  std::vector<std::string> pictureFormats;

  struct Confinement {
    std::string kernel;  ///< "6.1.0-18-amd64".
    int landlock = 0;    ///< The version of Landlock; 0 where the kernel has none.
    bool seccomp = false;
  } confinement;
};

/// Looks at this system as the extension with these services, which become the installed ones (see
/// Platform) but for their workspace. Asks the session bus and other programs, a few seconds at
/// most where they do not answer; opens and changes nothing.
Diagnosis diagnose(const LinuxOptions& options);

/// The text with the home folder in its paths as "~". A home of "/" or none changes nothing.
std::string withoutHome(std::string_view text, std::string_view home);

/// The diagnosis as lines of text, the last one ended too.
std::string diagnosisText(const Diagnosis& diagnosis);

/// The diagnosis as one JSON object (RFC 8259) and a line break.
std::string diagnosisJSON(const Diagnosis& diagnosis);

}  // namespace korvane
