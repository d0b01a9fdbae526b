#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/Platform.h"

namespace korvane {

/// What a program chooses about the services it gets.
struct KORVANE_EXPORT LinuxOptions {
  /// Run as the program with this bundle identifier ("CFBundleIdentifier"); empty: the identifier
  /// of the installed info dictionary.
  std::string bundleIdentifier{};

  /// The folder below the program's `../share` that holds its info dictionary
  /// (`korvane/Info.plist`) and message catalogues (`locale`); empty: that folder itself.
  std::string resources{};

  /// The application that notifications and lists of jobs name: its name for people, and the name
  /// of its desktop entry without ".desktop", which its icon bears too. Empty: the regular
  /// edition's, "Korvane Share" and "korvane-share".
  std::string applicationName{};
  std::string applicationEntry{};

  /// Where the container of the application group lies: an absolute path, which need not exist yet.
  /// Empty: in the user's data folder, "$XDG_DATA_HOME/Q7K4M2XW9P.korvane".
  std::string container{};

  /// Write log lines to standard error too. Without it they go there only when standard error is a
  /// terminal; the system log gets them always.
  bool logToStandardError = false;

  /// Told why the desktop did not open a URL: one line of UTF-8 text for people, without a line
  /// break. Called on the thread that asked for the opening, before the opening returns false; must
  /// not throw. May be empty.
  std::function<void(std::string_view reason)> launchFailure{};
};

/// The complete set of services on a Linux desktop: every service of Platform, none missing. Only
/// the info dictionary is read here; no other file and no connection is opened before a service is
/// first used. A program changes what it wants otherwise and hands the set to Platform::install:
///
///     Platform services = linuxPlatform({.bundleIdentifier = "it.drelk.korvane.beta8.share"});
///     services.clock = myClock;
///     Platform::install(std::move(services));
///
/// Call it before the first thread is started: the launcher's activation token is taken out of the
/// process's environment, and variables of the language may be put there. Sets made by several
/// calls work side by side; they coordinate their files with one another.
KORVANE_EXPORT Platform linuxPlatform(const LinuxOptions& options = {});

}  // namespace korvane
