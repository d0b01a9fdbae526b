#include "compose/InstalledClient.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

using testing::TemporaryFolder;
using Words = std::vector<std::string>;

/// A desktop of entries and lists of defaults, asked in a process of its own: the desktop's library
/// looks at the environment once.
class Desktop : public ::testing::Test {
 protected:
  Desktop() {
    for (const char* program : {"thunderbird", "kmail", "mutt", "firefox", "evolution", "env"}) {
      std::filesystem::permissions(files.file(std::string("bin/") + program, "#!/bin/sh\n"),
                                   std::filesystem::perms::owner_all);
    }
  }
  void entry(const std::string& id, const std::string& exec, const std::string& more = "") {
    files.file("data/applications/" + id + ".desktop",
               "[Desktop Entry]\nType=Application\nName=" + id + "\nExec=" + exec +
                   "\nMimeType=x-scheme-handler/mailto;\n" + more);
    cache += id + ".desktop;";
    files.file("data/applications/mimeinfo.cache",
               "[MIME Cache]\nx-scheme-handler/mailto=" + cache + "\n");
  }
  void choose(const std::string& id, const std::string& list = "config/mimeapps.list") {
    files.file(list, "[Default Applications]\nx-scheme-handler/mailto=" + id + ".desktop\n");
  }
  bool holds(const std::function<bool()>& work, const char* desktop = "") {
    return testing::inChild([&] {
             setenv("PATH", files.path("bin").c_str(), 1);
             setenv("XDG_DATA_HOME", files.path("data").c_str(), 1);
             setenv("XDG_DATA_DIRS", files.path("system").c_str(), 1);
             setenv("XDG_CONFIG_HOME", files.path("config").c_str(), 1);
             setenv("XDG_CONFIG_DIRS", files.path("etc").c_str(), 1);
             setenv("XDG_CURRENT_DESKTOP", desktop, 1);
             return work();
           }) == 0;
  }
  bool defaultIs(const std::string& id, const char* desktop = "") {
    return holds(
        [&] {
          const auto client = defaultMailClient();
          return client ? client->id == id : id.empty();
        },
        desktop);
  }

  TemporaryFolder files;
  std::string cache;
};

TEST_F(Desktop, NoProgramAtAll) {
  EXPECT_TRUE(defaultIs(""));
  EXPECT_TRUE(holds([] { return !installedMailClient("thunderbird"); }));
}

TEST_F(Desktop, TheChosenOne) {
  entry("mutt", "mutt %u", "Terminal=true\n");
  entry("thunderbird", "thunderbird %u");
  entry("org.kde.kmail2", "kmail -qwindowtitle %c %u");
  choose("org.kde.kmail2");
  EXPECT_TRUE(defaultIs("org.kde.kmail2"));
  choose("mutt");
  EXPECT_TRUE(defaultIs("mutt"));
}

TEST_F(Desktop, ATerminalProgramThatNobodyChoseGivesWay) {
  entry("mutt", "mutt %u", "Terminal=true\n");
  EXPECT_TRUE(defaultIs("mutt"));
  entry("firefox", "firefox %u");
  EXPECT_TRUE(defaultIs("mutt"));  // not a mail client
  entry("thunderbird", "thunderbird %u");
  EXPECT_TRUE(defaultIs("thunderbird"));
  choose("mutt", "etc/mimeapps.list");
  EXPECT_TRUE(defaultIs("mutt"));
}

TEST_F(Desktop, AChoiceOfTheDesktopCounts) {
  entry("mutt", "mutt %u", "Terminal=true\n");
  entry("thunderbird", "thunderbird %u");
  choose("mutt", "config/kde-mimeapps.list");
  EXPECT_TRUE(defaultIs("thunderbird", "GNOME"));
  EXPECT_TRUE(defaultIs("mutt", "x:KDE"));
}

TEST_F(Desktop, ABrowser) {
  entry("firefox", "firefox %u");
  EXPECT_TRUE(holds([] { return defaultMailClient()->road == MailRoad::mailto; }));
}

TEST_F(Desktop, ProgramsOfCommandLines) {
  entry("org.kde.kmail2", "env A=\"b c\" /opt/kde/kmail -qwindowtitle %c %u");
  entry("claws-mail", "evolution %u");
  entry("mutt", "evolution %u");
  EXPECT_TRUE(holds([] {
    // What stands before the program stays; a program that is nowhere leaves the entry's road.
    return installedMailClient("org.kde.kmail2.desktop")->program ==
           Words{"env", "A=b c", "/opt/kde/kmail"};
  }));
  EXPECT_TRUE(holds([] {
    const auto claws = installedMailClient("claws-mail");
    return claws && claws->road == MailRoad::mailto && claws->program.empty();
  }));
  EXPECT_TRUE(holds([&] {
    const auto mutt = installedMailClient("MUTT");
    return mutt && mutt->road == MailRoad::draftFile &&
           mutt->program == Words{files.path("bin/mutt")};
  }));
}

TEST_F(Desktop, FlatpaksAndSnaps) {
  entry("org.mozilla.Thunderbird",
        "thunderbird run --file-forwarding org.mozilla.Thunderbird @@u %u @@",
        "X-Flatpak=org.mozilla.Thunderbird\n");
  entry("org.kde.kmail2", "evolution run org.kde.kmail2 %u", "X-Flatpak=org.kde.kmail2\n");
  entry("thunderbird_thunderbird", "thunderbird %u", "X-SnapInstanceName=thunderbird\n");
  EXPECT_TRUE(holds([] {
    const auto flatpak = installedMailClient("org.mozilla.thunderbird");
    return flatpak && flatpak->flatpak == "org.mozilla.Thunderbird" &&
           flatpak->road == MailRoad::unsentFile && flatpak->snap.empty();
  }));
  // A sandbox has no command line for us, though a program of the name is there.
  EXPECT_TRUE(
      holds([] { return installedMailClient("org.kde.kmail2")->road == MailRoad::mailto; }));
  EXPECT_TRUE(holds([] {
    const auto snap = installedMailClient("thunderbird_thunderbird");
    return snap && snap->snap == "thunderbird" && snap->road == MailRoad::unsentFile;
  }));
}

}  // namespace
}  // namespace korvane
