#include "host/PortalMain.h"

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/DesktopPortal.h"
#include "host/Edition.h"
#include "host/InputError.h"
#include "host/PortalService.h"
#include "host/PortalSetting.h"
#include "host/Program.h"
#include "host/WatchedServices.h"

namespace korvane {
namespace {

constexpr const char* kProgram = "korvane-portal";
constexpr const char* kRestart =
    "This counts from the next login on, or after: systemctl --user restart xdg-desktop-portal\n";

/// The version of xdg-desktop-portal, where that does not read portals.conf.
std::optional<std::string> oldVersion() {
  const auto version = desktopPortalVersion();
  return version && !readsPortalsConf(*version) ? version : std::nullopt;
}

/// What the portal is called among others.
std::string portalName() { return ownName("korvane"); }

PortalSetting setting() {
  return PortalSetting(portalsFolders(), portalNotes(portalName()), portalName());
}

/// The file with which systemd is told to start an older portal otherwise.
std::string dropIn() {
  return "~/.config/systemd/user/xdg-desktop-portal.service.d/" + portalName() + ".conf";
}

int enable() {
  if (const auto version = oldVersion()) {
    const char* desktop = std::getenv("XDG_CURRENT_DESKTOP");  // NOLINT(concurrency-mt-unsafe)
    fail(kProgram, kFailed,
         "xdg-desktop-portal " + *version +
             " has no setting for this (1.18 has): it asks the first portal that is made for the "
             "desktop. Nothing was changed. Write these two lines into " +
             dropIn() + " instead, and log in again:");
    fail(kProgram, kFailed, "[Service]");
    return fail(kProgram, kFailed,
                "Environment=XDG_CURRENT_DESKTOP=" + portalName() + ":" +
                    (desktop && *desktop ? desktop : "GNOME"));
  }
  const auto path = setting().enable();
  if (path) {
    writeOut("The mails of other programs go to the mail client now: " + path->string() +
             " was written.\n" + kRestart);
  } else {
    writeOut("The mails of other programs go to the mail client already.\n");
  }
  return kDone;
}

int disable() {
  const auto paths = setting().disable();
  for (const auto& path : paths) {
    writeOut("The mails of other programs go where they went before: " + path.string() +
             " is as it was.\n");
  }
  if (!paths.empty()) {
    writeOut(kRestart);
  } else if (const auto version = oldVersion()) {
    writeOut("xdg-desktop-portal " + *version + " has no setting for this: remove " + dropIn() +
             " where you made it, and log in again.\n");
  } else {
    writeOut("The mails of other programs do not go to the mail client: nothing was changed.\n");
  }
  return kDone;
}

}  // namespace

int PortalMain(int argc, char* argv[]) {
  bool isEnable = false;
  bool isDisable = false;
  const CommandLine line{
      .program = kProgram,
      .usage = {"", "--enable", "--disable"},
      .before = R"(Composes the mails that other programs ask the desktop for ("Email..." in a file
manager, mails of sandboxed applications) in the mail client. Without an option
it answers on the session bus, which starts it itself.

)",
      .options =
          {
              {"--enable", "", "have the desktop's portal ask this program for mails",
               flag(isEnable)},
              {"--disable", "", "have it ask whom it asked before", flag(isDisable)},
          },
      .after = R"(
Exit status: 0; 1 when it cannot be done, with one line that says why; 2 for
wrong usage.
)",
      .takeOther = [](const std::string&) { throw InputError("nothing but options is taken"); },
      .check =
          [&] {
            if (isEnable && isDisable) {
              throw InputError("--enable and --disable exclude each other");
            }
          },
  };
  return runProgram(line, argc, argv, [&] {
    if (isEnable) return enable();
    if (isDisable) return disable();
    Platform::install(watchedLinuxServices(ownServices()));
    return runPortalService();
  });
}

}  // namespace korvane
