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
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

constexpr const char* kProgram = "korvane-portal";
constexpr const char* kRestart = translatable(
    "This counts from the next login on, or after: systemctl --user restart xdg-desktop-portal");

/// Each text is a line.
void say(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) writeOut(line + "\n");
}

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
    const char* variable = std::getenv("XDG_CURRENT_DESKTOP");  // NOLINT(concurrency-mt-unsafe)
    std::string desktop = variable && *variable ? variable : "GNOME";
    // Where somebody has set it for the whole session.
    const std::string own = portalName() + ":";
    if (!desktop.starts_with(own)) desktop = std::string(own).append(desktop);
    fail(kProgram, kFailed,
         translated("xdg-desktop-portal {0} has no setting for this (1.18 has): it asks the first "
                    "portal that is made for the desktop. Nothing was changed. Write these two "
                    "lines into {1} instead, and log in again:",
                    *version, dropIn()));
    fail(kProgram, kFailed, "[Service]");
    return fail(kProgram, kFailed, "Environment=XDG_CURRENT_DESKTOP=" + desktop);
  }
  if (const auto path = setting().enable()) {
    say({translated("The mails of other programs go to the mail client now: {0} was written.",
                    path->string()),
         translated(kRestart)});
  } else {
    say({translated("The mails of other programs go to the mail client already.")});
  }
  return kDone;
}

int disable() {
  const auto paths = setting().disable();
  for (const auto& path : paths) {
    say({translated("The mails of other programs go where they went before: {0} is as it was.",
                    path.string())});
  }
  if (!paths.empty()) {
    say({translated(kRestart)});
  } else if (const auto version = oldVersion()) {
    say(
        {translated("xdg-desktop-portal {0} has no setting for this: remove {1} where you made it, "
                    "and log in again.",
                    *version, dropIn())});
  } else {
    say(
        {translated("The mails of other programs do not go to the mail client: nothing was "
                    "changed.")});
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
      .before = translatable(
          "Composes the mails that other programs ask the desktop for (\"Email...\" in a file\n"
          "manager, mails of sandboxed applications) in the mail client. Without an option\n"
          "it answers on the session bus, which starts it itself.\n"
          "\n"),
      .options =
          {
              {"--enable", "", translatable("have the desktop's portal ask this program for mails"),
               flag(isEnable)},
              {"--disable", "", translatable("have it ask whom it asked before"), flag(isDisable)},
          },
      .after =
          [] {
            return translated(
                "\n"
                "Exit status: 0; 1 when it cannot be done, and standard error says why; 2 for\n"
                "wrong usage.\n");
          },
      .takeOther =
          [](const std::string&) { throw InputError(translated("nothing but options is taken")); },
      .check =
          [&] {
            if (isEnable && isDisable) {
              throw InputError(translated("--enable and --disable exclude each other"));
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
