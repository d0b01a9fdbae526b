#include "host/PortalsConf.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kLine = "org.freedesktop.impl.portal.Email=korvane";

std::string enabled(std::string_view content) { return withEmailPortals(content, "korvane"); }

TEST(PortalsConf, OnlyTheLineAboutMailsChanges) {
  struct Row {
    std::string before;
    std::string after;
  };
  const std::string email = "org.freedesktop.impl.portal.Email";
  for (const Row& row : {
           // There is such a line.
           Row{"[preferred]\n" + email + "=gtk\n", "[preferred]\n" + kLine + "\n"},
           Row{"[preferred]\r\ndefault=gnome;gtk;\r\n" + email + "=gtk;\r\n# end\r\n",
               "[preferred]\r\ndefault=gnome;gtk;\r\n" + kLine + "\r\n# end\r\n"},
           // Blanks behind a name would belong to it.
           Row{"[preferred]\n  " + email + "  =\t gtk  \nx=y",
               "[preferred]\n  " + email + "  =\t korvane\nx=y"},
           Row{"[preferred]\n" + email + "=korvane \r\n", "[preferred]\n" + kLine + "\r\n"},
           Row{"[preferred]\n" + email + "=", "[preferred]\n" + kLine},
           // The last of several counts, in whichever group of that name.
           Row{"[preferred]\n" + email + "=a\n" + email + "=b\n",
               "[preferred]\n" + email + "=a\n" + kLine + "\n"},
           Row{"[preferred]\n" + email + "=a\n[x]\n[preferred]\n" + email + "=b\n",
               "[preferred]\n" + email + "=a\n[x]\n[preferred]\n" + kLine + "\n"},
           // What looks like one is none.
           Row{"[preferred]\n#" + email + "=gtk\n[x]\n" + email + "=gtk\n",
               "[preferred]\n" + kLine + "\n#" + email + "=gtk\n[x]\n" + email + "=gtk\n"},
           Row{"[preferred]\n" + email + "s=gtk\n",
               "[preferred]\n" + email + "s=gtk\n" + kLine + "\n"},
           // There is none: it goes behind the group's last.
           Row{"# mine\n\n[preferred]\n# all\ndefault=gtk\n\n# next\n[other]\na=b\n",
               "# mine\n\n[preferred]\n# all\ndefault=gtk\n" + kLine +
                   "\n\n# next\n[other]\na=b\n"},
           Row{"[preferred]\r\ndefault=gtk\r\n", "[preferred]\r\ndefault=gtk\r\n" + kLine + "\r\n"},
           Row{"[preferred]\ndefault=gtk", "[preferred]\ndefault=gtk\n" + kLine},
           Row{"[preferred]\r\ndefault=gtk", "[preferred]\r\ndefault=gtk\r\n" + kLine},
           Row{"[preferred]", "[preferred]\n" + kLine},
           Row{"[preferred]\na=b\n[preferred]\nc=d\n",
               "[preferred]\na=b\n" + kLine + "\n[preferred]\nc=d\n"},
           // There is no such group.
           Row{"", "[preferred]\n" + kLine + "\n"},
           Row{"[other]\r\na=b", "[other]\r\na=b\r\n[preferred]\r\n" + kLine + "\r\n"},
           Row{"# nothing yet\n", "# nothing yet\n[preferred]\n" + kLine + "\n"},
       }) {
    EXPECT_EQ(enabled(row.before), row.after);
    EXPECT_EQ(emailPortals(row.after), "korvane");
    EXPECT_EQ(enabled(row.after), row.after);
    // With what was said before, it says what it said.
    const auto said = emailPortals(row.before);
    EXPECT_EQ(emailPortals(withEmailPortals(row.after, said)), said);
    if (said) {
      EXPECT_EQ(withEmailPortals(row.after, said), row.before);
    }
  }
}

TEST(PortalsConf, NothingIsSaidWithoutALine) {
  EXPECT_EQ(emailPortals(""), std::nullopt);
  EXPECT_EQ(emailPortals("[x]\norg.freedesktop.impl.portal.Email=gtk\n"), std::nullopt);
  EXPECT_EQ(emailPortals("[preferred]\norg.freedesktop.impl.portal.Email = gtk;x \r\n"), "gtk;x ");
  EXPECT_EQ(withEmailPortals("[preferred]\na=b\n" + kLine + "\n" + kLine, std::nullopt),
            "[preferred]\na=b\n");
  EXPECT_EQ(withEmailPortals("[preferred]\na=b", std::nullopt), "[preferred]\na=b");
}

class PortalsConfPlaces : public ::testing::Test {
 protected:
  std::string inForce() const {
    const auto path = portalsConfInForce(folders);
    return path ? path->lexically_relative(folder.path("")).string() : "none";
  }
  void add(const std::string& path, const std::string& content = "[preferred]\ndefault=gtk\n") {
    folder.file(path, content);
  }

  testing::TemporaryFolder folder;
  PortalsFolders folders{.own = folder.path("own"),
                         .others = {folder.path("xdg"), folder.path("etc"), folder.path("usr")},
                         .desktops = {"ubuntu", "gnome"}};
};

TEST_F(PortalsConfPlaces, TheFirstThatCanBeReadCounts) {
  EXPECT_EQ(inForce(), "none");
  // Each in its turn comes before those already there.
  for (const char* path :
       {"usr/portals.conf", "usr/gnome-portals.conf", "usr/ubuntu-portals.conf", "etc/portals.conf",
        "etc/gnome-portals.conf", "xdg/portals.conf", "xdg/ubuntu-portals.conf", "own/portals.conf",
        "own/gnome-portals.conf", "own/ubuntu-portals.conf"}) {
    add(path);
    EXPECT_EQ(inForce(), path);
  }
  add("own/ubuntu-portals.conf", "this is no key file\n");
  EXPECT_EQ(inForce(), "own/gnome-portals.conf");
  folders.desktops.clear();
  EXPECT_EQ(inForce(), "own/portals.conf");
  folders.desktops = {"kde"};
  add("own/kde-portals.conf/folder");
  EXPECT_EQ(inForce(), "own/portals.conf");
}

/// The folders of an environment of one's own.
PortalsFolders foldersOf(const std::vector<std::pair<const char*, const char*>>& variables) {
  for (const char* name : {"XDG_CONFIG_HOME", "XDG_CONFIG_DIRS", "XDG_DATA_HOME", "XDG_DATA_DIRS",
                           "XDG_CURRENT_DESKTOP"}) {
    ::unsetenv(name);
  }
  for (const auto& [name, value] : variables) ::setenv(name, value, 1);
  return portalsFolders();
}

TEST(PortalsFolders, AreThoseOfTheEnvironment) {
  const PortalsFolders usual = foldersOf({{"HOME", "/home/ann"}});
  EXPECT_EQ(usual.own, "/home/ann/.config/xdg-desktop-portal");
  EXPECT_THAT(usual.others,
              ElementsAre("/etc/xdg/xdg-desktop-portal", "/etc/xdg-desktop-portal",
                          "/home/ann/.local/share/xdg-desktop-portal",
                          "/usr/local/share/xdg-desktop-portal", "/usr/share/xdg-desktop-portal"));
  EXPECT_THAT(usual.desktops, IsEmpty());

  const PortalsFolders other = foldersOf({{"XDG_CONFIG_HOME", "/c"},
                                          {"XDG_CONFIG_DIRS", "/x:relative::/y"},
                                          {"XDG_DATA_HOME", ""},
                                          {"XDG_DATA_DIRS", "/z"},
                                          {"XDG_CURRENT_DESKTOP", "ubuntu:GNOME::X-a/b:"}});
  EXPECT_EQ(other.own, "/c/xdg-desktop-portal");
  EXPECT_THAT(
      other.others,
      ElementsAre("/x/xdg-desktop-portal", "/y/xdg-desktop-portal", "/etc/xdg-desktop-portal",
                  "/home/ann/.local/share/xdg-desktop-portal", "/z/xdg-desktop-portal"));
  EXPECT_THAT(other.desktops, ElementsAre("ubuntu", "gnome"));
}

}  // namespace
}  // namespace korvane
