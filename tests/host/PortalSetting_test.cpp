#include "host/PortalSetting.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <utility>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

const std::string kEmail = "org.freedesktop.impl.portal.Email=";

class Setting : public ::testing::Test {
 protected:
  PortalSetting setting() const {
    return PortalSetting(folders, folder.path("state/k/notes"), "korvane");
  }
  std::string enable() const {
    const auto path = setting().enable();
    return path ? shortPath(*path) : "nothing";
  }
  std::vector<std::string> disable() const {
    std::vector<std::string> paths;
    for (const fs::path& path : setting().disable()) paths.push_back(shortPath(path));
    return paths;
  }
  std::string refusal() const {
    try {
      setting().enable();
    } catch (const SettingError& error) {
      return error.what();
    }
    return "not refused";
  }
  std::string shortPath(const fs::path& path) const {
    return path.lexically_relative(folder.path(""));
  }
  void add(const std::string& path, const std::string& content) { folder.file(path, content); }
  std::string contentOf(const std::string& path) const {
    return testing::contentOf(folder.path(path));
  }
  /// Everything that lies in the user's own folder, links as "-> TARGET".
  std::map<std::string, std::string> own() const {
    std::map<std::string, std::string> found;
    if (!fs::exists(folders.own)) return {{"none", ""}};
    for (const auto& entry : fs::directory_iterator(folders.own)) {
      found[entry.path().filename()] = entry.is_symlink()
                                           ? "-> " + fs::read_symlink(entry.path()).string()
                                           : testing::contentOf(entry.path().string());
    }
    return found;
  }

  testing::TemporaryFolder folder;
  PortalsFolders folders{
      .own = folder.path("own/p"), .others = {folder.path("usr")}, .desktops = {"gnome"}};
};

const std::string kMine = "# mine\r\n[preferred]\r\ndefault=gnome;gtk;\r\n" + kEmail + "gtk\r\n";
const std::string kMineOn =
    "# mine\r\n[preferred]\r\ndefault=gnome;gtk;\r\n" + kEmail + "korvane\r\n";

TEST_F(Setting, TheUsersOwnFileIsChangedAndPutBack) {
  add("own/p/portals.conf", kMine);
  EXPECT_EQ(enable(), "own/p/portals.conf");
  EXPECT_THAT(own(), ElementsAre(Pair("portals.conf", kMineOn)));
  EXPECT_EQ(enable(), "nothing");
  EXPECT_THAT(own(), ElementsAre(Pair("portals.conf", kMineOn)));
  EXPECT_THAT(disable(), ElementsAre("own/p/portals.conf"));
  EXPECT_THAT(own(), ElementsAre(Pair("portals.conf", kMine)));
  EXPECT_FALSE(fs::exists(folder.path("state/k/notes")));
  EXPECT_THAT(disable(), IsEmpty());
  EXPECT_THAT(own(), ElementsAre(Pair("portals.conf", kMine)));
}

TEST_F(Setting, ASystemsFileIsTakenOverWholeUnderItsName) {
  add("usr/gnome-portals.conf", kMine);
  EXPECT_EQ(enable(), "own/p/gnome-portals.conf");
  EXPECT_THAT(own(), ElementsAre(Pair("gnome-portals.conf", kMineOn)));
  EXPECT_EQ(contentOf("usr/gnome-portals.conf"), kMine);
  EXPECT_EQ(enable(), "nothing");
  disable();
  EXPECT_THAT(own(), ElementsAre(Pair("none", "")));
}

TEST_F(Setting, WithoutAnyFileOneIsMadeForTheDesktop) {
  fs::create_directories(folders.own);
  EXPECT_EQ(enable(), "own/p/gnome-portals.conf");
  EXPECT_THAT(own(),
              ElementsAre(Pair("gnome-portals.conf", "[preferred]\n" + kEmail + "korvane\n")));
  disable();
  EXPECT_THAT(own(), IsEmpty());  // the folder was there
}

TEST_F(Setting, WhatWasChangedMeanwhileStays) {
  add("own/p/portals.conf", kMine);
  enable();
  add("own/p/portals.conf", kMineOn + "new=x\r\n");
  disable();
  EXPECT_THAT(own(), ElementsAre(Pair("portals.conf", kMine + "new=x\r\n")));

  // The same of a file that there was not.
  fs::remove(folder.path("own/p/portals.conf"));
  enable();
  add("own/p/gnome-portals.conf", "[preferred]\na=b\n" + kEmail + "korvane\n");
  disable();
  EXPECT_THAT(own(), ElementsAre(Pair("gnome-portals.conf", "[preferred]\na=b\n")));
}

TEST_F(Setting, WhoeverChoseAnotherPortalMeanwhileKeepsIt) {
  add("own/p/portals.conf", kMine);
  enable();
  const std::string other = "[preferred]\n" + kEmail + "other\n";
  add("own/p/portals.conf", other);
  EXPECT_THAT(disable(), IsEmpty());
  EXPECT_THAT(own(), ElementsAre(Pair("portals.conf", other)));

  // Enabled once more, that is what was there.
  add("own/p/portals.conf", kMine);
  enable();
  add("own/p/portals.conf", other);
  EXPECT_EQ(enable(), "own/p/portals.conf");
  disable();
  EXPECT_THAT(own(), ElementsAre(Pair("portals.conf", other)));
}

TEST_F(Setting, AFileThatWasRemovedMeanwhileStaysAway) {
  add("usr/portals.conf", kMine);
  add("own/p/other", "");
  enable();
  fs::remove(folder.path("own/p/portals.conf"));
  EXPECT_THAT(disable(), IsEmpty());
  EXPECT_THAT(own(), ElementsAre(Pair("other", "")));
}

TEST_F(Setting, EveryDesktopHasItsOwn) {
  add("usr/gnome-portals.conf", kMine);
  add("own/p/kde-portals.conf", "[preferred]\ndefault=kde\n");
  EXPECT_EQ(enable(), "own/p/gnome-portals.conf");
  folders.desktops = {"kde"};
  EXPECT_EQ(enable(), "own/p/kde-portals.conf");
  EXPECT_THAT(disable(), ElementsAre("own/p/gnome-portals.conf", "own/p/kde-portals.conf"));
  EXPECT_THAT(own(), ElementsAre(Pair("kde-portals.conf", "[preferred]\ndefault=kde\n")));
}

TEST_F(Setting, LinksAndPermissionsStay) {
  add("dotfiles/portals.conf", kMine);
  fs::permissions(folder.path("dotfiles/portals.conf"), fs::perms(0640));
  fs::create_directories(folders.own);
  fs::create_symlink("../../dotfiles/portals.conf", folders.own / "portals.conf");
  EXPECT_EQ(enable(), "dotfiles/portals.conf");
  EXPECT_EQ(contentOf("dotfiles/portals.conf"), kMineOn);
  EXPECT_THAT(own(), ElementsAre(Pair("portals.conf", "-> ../../dotfiles/portals.conf")));
  EXPECT_EQ(fs::status(folder.path("dotfiles/portals.conf")).permissions(), fs::perms(0640));
  EXPECT_THAT(disable(), ElementsAre("dotfiles/portals.conf"));
  EXPECT_EQ(contentOf("dotfiles/portals.conf"), kMine);
  EXPECT_EQ(fs::status(folder.path("dotfiles/portals.conf")).permissions(), fs::perms(0640));
}

TEST_F(Setting, WithoutNotesTheLineGoes) {
  add("own/p/portals.conf", "[preferred]\na=b\n" + kEmail + "korvane;gtk\n");
  EXPECT_EQ(enable(), "nothing");
  EXPECT_THAT(disable(), ElementsAre("own/p/portals.conf"));
  EXPECT_THAT(own(), ElementsAre(Pair("portals.conf", "[preferred]\na=b\n")));
}

TEST_F(Setting, WithoutADesktopOnlyTheUsersOwnFileCounts) {
  folders.desktops.clear();
  add("usr/portals.conf", kMine);
  EXPECT_THAT(refusal(), HasSubstr("XDG_CURRENT_DESKTOP is not set"));
  EXPECT_THAT(own(), ElementsAre(Pair("none", "")));
  add("own/p/portals.conf", kMine);
  EXPECT_EQ(enable(), "own/p/portals.conf");
}

TEST_F(Setting, WhatCannotBeWrittenIsToldAndNothingChanges) {
  add("own/p/portals.conf", kMine);
  add("state", "a file in the way");
  EXPECT_THAT(refusal(), HasSubstr(folder.path("state")));
  EXPECT_THAT(own(), ElementsAre(Pair("portals.conf", kMine)));

  fs::remove(folder.path("state"));
  add("state/k/notes", "damaged");
  EXPECT_THAT(refusal(), HasSubstr("the notes are damaged"));
  EXPECT_THROW(setting().disable(), SettingError);
  EXPECT_THAT(own(), ElementsAre(Pair("portals.conf", kMine)));

  fs::remove_all(folder.path("state"));
  fs::remove_all(folders.own);
  add("own/p", "a file in the way");
  EXPECT_THAT(refusal(), HasSubstr(folder.path("own/p")));
  EXPECT_FALSE(fs::exists(folder.path("state/k/notes")));  // there is nothing to put back
}

// Whenever it ends, what was there can be had back.
TEST_F(Setting, KilledInTheMiddle) {
  add("usr/gnome-portals.conf", kMine);
  std::mt19937 random(1);
  int enabled = 0;
  for (int i = 0; i < 60; ++i) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      for (;;) {
        setting().enable();
        setting().disable();
      }
    }
    ::usleep(random() % 15000);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    for (const auto& [name, content] : own()) {
      if (name == "none" || name.starts_with(".")) continue;
      EXPECT_EQ(name, "gnome-portals.conf");
      EXPECT_EQ(content, kMineOn);
      ++enabled;
    }
    if (i % 3 == 0) {
      disable();
      EXPECT_FALSE(own().contains("gnome-portals.conf"));
    }
    enable();
    disable();
    EXPECT_THAT(own(), ElementsAre(Pair("none", "")));  // not even a file that was half written
  }
  EXPECT_EQ(contentOf("usr/gnome-portals.conf"), kMine);
  EXPECT_FALSE(fs::exists(folder.path("state/k/notes")));
  RecordProperty("seenEnabled", enabled);
}

TEST(PortalNotes, LieInTheFolderForState) {
  ::setenv("HOME", "/home/ann", 1);
  ::unsetenv("XDG_STATE_HOME");
  EXPECT_EQ(portalNotes("korvane"), "/home/ann/.local/state/korvane/portals.json");
  ::setenv("XDG_STATE_HOME", "relative", 1);
  EXPECT_EQ(portalNotes("korvane"), "/home/ann/.local/state/korvane/portals.json");
  ::setenv("XDG_STATE_HOME", "/s", 1);
  EXPECT_EQ(portalNotes("korvane"), "/s/korvane/portals.json");
}

}  // namespace
}  // namespace korvane
