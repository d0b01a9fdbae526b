#include "entry/menu/Share.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/Places.h"
#include "tests/support/PrivateDesktop.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using testing::PrivateDesktop;
using testing::readFile;
using testing::writeFile;

// The application is looked for in the folders that the environment named when the process began to
// look, so all tests have one.
class MenuEntry : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    desktop = new PrivateDesktop;
    fs::create_directories(desktop->folder / "bin");
    setenv("PATH", (desktop->folder / "bin").c_str(), 1);
    setenv("XDG_DATA_HOME", (desktop->folder / "data").c_str(), 1);
    setenv("XDG_DATA_DIRS", (desktop->folder / "system").c_str(), 1);
    setenv("LANGUAGE", "de", 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere", 1);
  }
  static void TearDownTestSuite() { delete desktop; }

  void SetUp() override {
    fs::remove_all(desktop->folder / "data/applications");
    fs::create_directories(desktop->folder / "data/applications");
    writeProgram("#!/bin/sh\n");
    installEntry("");
  }
  void TearDown() override { fs::remove(desktop->folder / "bin/korvane-share"); }

  static void writeProgram(const std::string& text) {
    const fs::path program = desktop->folder / "bin/korvane-share";
    writeFile(program, text);
    chmod(program.c_str(), 0700);
  }
  static void installEntry(const std::string& more) {
    std::string entry = readFile(KORVANE_BINARY_DIR "/share/applications/korvane-share.desktop");
    entry.insert(entry.find('\n', entry.find("[Desktop Entry]")) + 1, more);
    writeFile(desktop->folder / "data/applications/korvane-share.desktop", entry);
  }
  static KorvaneEntry* entry(const std::vector<std::string>& uris) {
    GPtrArray* texts = g_ptr_array_new();
    for (const std::string& uri : uris) g_ptr_array_add(texts, g_strdup(uri.c_str()));
    return korvane_entry_new(texts);
  }
  static bool isShown(const std::vector<std::string>& uris) {
    KorvaneEntry* found = entry(uris);
    if (found) korvane_entry_free(found);
    return found != nullptr;
  }

  static PrivateDesktop* desktop;
};
PrivateDesktop* MenuEntry::desktop = nullptr;

TEST_F(MenuEntry, HasTheTextsOfTheApplicationInThePersonsLanguage) {
  KorvaneEntry* found = entry({"file:///a", "file:///b%E9"});
  ASSERT_NE(found, nullptr);
  EXPECT_STREQ(found->label, "Per E-Mail senden");
  EXPECT_STREQ(found->tip, "Eine E-Mail mit den Dateien, Bildern oder Links schreiben");
  EXPECT_STREQ(found->uris[0], "file:///a");
  EXPECT_STREQ(found->uris[1], "file:///b%E9");
  EXPECT_EQ(found->uris[2], nullptr);
  korvane_entry_free(found);
}

TEST_F(MenuEntry, IsShownForFilesHereAndElsewhere) {
  for (const char* uri : {"file:///home/a%20b", "file:///", "sftp://host/a", "smb://host/share/a",
                          "mtp://phone/a", "dav://host/a", "ftp://host/a", "google-drive://me/a",
                          "admin:///etc/fstab", "recent:///123"}) {
    EXPECT_TRUE(isShown({uri})) << uri;
    EXPECT_TRUE(isShown({"file:///a", uri})) << uri;
  }
}

TEST_F(MenuEntry, IsNotShownForWhatIsNoFile) {
  EXPECT_FALSE(isShown({}));
  for (const char* uri :
       {"trash:///a", "trash:///", "TRASH:///a", "computer:///", "computer:///disk.drive",
        "network:///", "burn:///a", "x-caja-desktop:///home", "x-nemo-desktop:///trash",
        "x-nautilus-desktop:///network", "", "/a", "a"}) {
    EXPECT_FALSE(isShown({uri})) << uri;
    EXPECT_FALSE(isShown({"file:///a", uri})) << uri;
    EXPECT_FALSE(isShown({uri, "file:///a"})) << uri;
  }
}

TEST_F(MenuEntry, IsNotShownWhereTheProgramIsNot) {
  fs::remove(desktop->folder / "bin/korvane-share");
  EXPECT_FALSE(isShown({"file:///a"}));
}

TEST_F(MenuEntry, IsNotShownWhereThePersonHasTakenItAway) {
  installEntry("Hidden=true\n");
  EXPECT_FALSE(isShown({"file:///a"}));
}

TEST_F(MenuEntry, StartsTheProgramAndDoesNotWaitForIt) {
  const fs::path given = desktop->folder / "given";
  ASSERT_EQ(mkfifo((desktop->folder / "gate").c_str(), 0600), 0);
  // It ends when the gate opens, which is after it was seen to run.
  writeProgram("#!/bin/sh\nprintf '%s|' \"$@\" > '" + given.string() + ".part'\n/bin/mv '" +
               given.string() + ".part' '" + given.string() + "'\nread line < '" +
               (desktop->folder / "gate").string() + "'\n");
  KorvaneEntry* found = entry({"file:///a%20b", "file:///c%E9", "sftp://host/d"});
  ASSERT_NE(found, nullptr);
  korvane_entry_activate(found);
  korvane_entry_free(found);
  std::ofstream(desktop->folder / "gate") << "open\n";  // waits until it is read
  EXPECT_EQ(readFile(given), "--|/a b|/c\xe9|sftp://host/d|");
}

TEST_F(MenuEntry, OutlivesAProgramThatCannotBeStarted) {
  KorvaneEntry* found = entry({"file:///a"});
  ASSERT_NE(found, nullptr);
  fs::remove(desktop->folder / "bin/korvane-share");
  korvane_entry_activate(found);
  korvane_entry_free(found);
}

TEST_F(MenuEntry, HandsOverMoreThanACommandLineHolds) {
  const fs::path given = desktop->folder / "request";
  ASSERT_EQ(mkfifo((desktop->folder / "ended").c_str(), 0600), 0);
  writeProgram("#!/bin/sh\n/bin/cat > '" + given.string() + "'\nprintf '%s|' \"$@\" > '" +
               (desktop->folder / "ended").string() + "'\n");
  std::vector<std::string> many(40, "file:///" + std::string(100'000, 'a'));
  many.push_back("file:///" + std::string(200'000, 'b'));
  many.emplace_back("sftp://host/caf%E9\"\\");
  KorvaneEntry* found = entry(many);
  ASSERT_NE(found, nullptr);
  korvane_entry_activate(found);
  korvane_entry_free(found);
  EXPECT_EQ(readFile(desktop->folder / "ended"), "--request|-|");  // waits until it is written
  std::vector<std::string> urls;
  const auto request = nlohmann::json::parse(readFile(given));
  for (const auto& attachment : request["items"].at(0)["attachments"]) {
    urls.push_back(attachment["url"]);
  }
  EXPECT_EQ(urls, many);
}

}  // namespace
}  // namespace korvane
