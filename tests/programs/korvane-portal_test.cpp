// What a person tells korvane-portal.
#include "host/PortalMain.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include "support/Places.h"
#include "tests/support/PrivateDesktop.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const std::string kProgram = KORVANE_BINARY_DIR "/bin/korvane-portal";

/// Whether mails come here, as the person says it.
class PortalOptions : public ::testing::Test {
 protected:
  PortalOptions() {
    desktop.set("LC_ALL", "C.UTF-8");
    desktop.set("XDG_CONFIG_HOME", desktop.folder / "config");
    desktop.set("XDG_CURRENT_DESKTOP", "GNOME");
    fs::create_directories(system.parent_path());
    testing::writeFile(system, kBefore);
  }
  /// Installs a portal that says this of its version.
  void addPortal(const std::string& says) const {
    const fs::path services = desktop.folder / "system/dbus-1/services";
    fs::create_directories(services);
    const fs::path program = desktop.folder / "a portal";
    testing::writeFile(program, "#!/bin/sh\n[ \"$1\" = --version ] && echo '" + says + "'\n");
    fs::permissions(program, fs::perms::owner_all);
    testing::writeFile(services / "org.freedesktop.portal.Desktop.service",
                       "[D-BUS Service]\nName=x\nExec=\"" + program.string() + "\" --other\n");
  }
  testing::Finished run(const char* option) const { return desktop.run({kProgram, option}); }

  testing::PrivateDesktop desktop;
  const std::string kBefore = "# of the system\n[preferred]\ndefault=gnome;gtk;\n";
  const fs::path system = desktop.folder / "system/xdg-desktop-portal/gnome-portals.conf";
  const fs::path own = desktop.folder / "config/xdg-desktop-portal/gnome-portals.conf";
};

TEST_F(PortalOptions, EnableAndDisable) {
  for (const char* version :
       {"", "xdg-desktop-portal 1.18.4", "xdg-desktop-portal 1.20.3", "odd"}) {
    if (*version) addPortal(version);
    const testing::Finished enabled = run("--enable");
    EXPECT_EQ(enabled.status, 0) << enabled.errors;
    EXPECT_THAT(enabled.output, HasSubstr(own.string() + " was written.\n"));
    EXPECT_EQ(testing::readFile(own), kBefore + "org.freedesktop.impl.portal.Email=korvane\n");
    const testing::Finished again = run("--enable");
    EXPECT_EQ(again.status, 0);
    EXPECT_THAT(again.output, HasSubstr("already"));
    const testing::Finished disabled = run("--disable");
    EXPECT_EQ(disabled.status, 0) << disabled.errors;
    EXPECT_THAT(disabled.output, HasSubstr(own.string() + " is as it was.\n"));
    EXPECT_FALSE(fs::exists(desktop.folder / "config/xdg-desktop-portal"));
    EXPECT_THAT(run("--disable").output, HasSubstr("nothing was changed"));
    EXPECT_EQ(testing::readFile(system), kBefore);
  }
}

TEST_F(PortalOptions, AnOlderPortalNeedsSomethingElse) {
  for (const char* version : {"xdg-desktop-portal 1.16.0", "1.14.6", "xdg-desktop-portal 0.11"}) {
    addPortal(version);
    const testing::Finished enabled = run("--enable");
    EXPECT_EQ(enabled.status, 1);
    EXPECT_EQ(enabled.output, "");
    EXPECT_THAT(enabled.errors, HasSubstr("Environment=XDG_CURRENT_DESKTOP=korvane:GNOME\n"));
    EXPECT_FALSE(fs::exists(desktop.folder / "config"));
    const testing::Finished disabled = run("--disable");
    EXPECT_EQ(disabled.status, 0);
    EXPECT_THAT(disabled.output, HasSubstr("xdg-desktop-portal.service.d/korvane.conf"));
  }
  // Where that was done for the whole session.
  desktop.set("XDG_CURRENT_DESKTOP", "korvane:KDE");
  EXPECT_THAT(run("--enable").errors, HasSubstr("Environment=XDG_CURRENT_DESKTOP=korvane:KDE\n"));
}

TEST_F(PortalOptions, WrongUsage) {
  EXPECT_EQ(desktop.run({kProgram, "--enable", "--disable"}).status, 2);
  EXPECT_EQ(desktop.run({kProgram, "x"}).status, 2);
  desktop.unset("XDG_CURRENT_DESKTOP");
  const testing::Finished finished = run("--enable");
  EXPECT_EQ(finished.status, 1);
  EXPECT_THAT(finished.errors, StartsWith("korvane-portal: XDG_CURRENT_DESKTOP is not set"));
}

}  // namespace
}  // namespace korvane
