#include "compose/MessageFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>

#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using testing::modeOf;
using testing::TemporaryFolder;

// The folders of a user are asked for once in a process; every case has one of its own.
bool as(const TemporaryFolder& home, const std::string& cache, const std::function<bool()>& work) {
  return testing::inChild([&] {
           setenv("HOME", home.path().c_str(), 1);
           setenv("XDG_CACHE_HOME", cache.c_str(), 1);
           setenv("XDG_CONFIG_HOME", home.path("config").c_str(), 1);
           return work();
         }) == 0;
}

TEST(MessageFolder, EveryMessageHasItsOwnPrivateOne) {
  const TemporaryFolder home;
  EXPECT_TRUE(as(home, home.path("cache"), [&] {
    std::string reason;
    const auto a = makeMessageFolder({}, reason);
    const auto b = makeMessageFolder({}, reason);
    return a && b && a->path != b->path &&
           a->path.starts_with(home.path("cache/korvane-compose/")) && modeOf(a->path) == 0700 &&
           modeOf(a->attachments()) == 0700 && modeOf(home.path("cache/korvane-compose")) == 0700;
  }));
}

TEST(MessageFolder, OldOnesGoAndOthersStay) {
  const TemporaryFolder home;
  const auto aged = [&](const std::string& name, int days) {
    const auto path = home.folder("cache/korvane-compose/" + name);
    home.file("cache/korvane-compose/" + name + "/file");
    fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(24 * days));
    return path;
  };
  const auto old = aged("message-old", 8);
  const auto young = aged("message-young", 6);
  const auto foreign = aged("something", 100);
  home.file("target/file");
  fs::create_directory_symlink(home.path("target"),
                               home.path("cache/korvane-compose/message-link"));
  EXPECT_TRUE(as(home, home.path("cache"), [&] {
    std::string reason;
    return makeMessageFolder({}, reason).has_value();
  }));
  EXPECT_FALSE(fs::exists(old));
  EXPECT_TRUE(fs::exists(young));
  EXPECT_TRUE(fs::exists(foreign));
  EXPECT_TRUE(fs::exists(home.path("target/file")));
}

TEST(MessageFolder, OfASnapIsWhereItSeesIt) {
  InstalledClient snap;
  snap.snap = "thunderbird";
  const auto made = [&](const TemporaryFolder& home, const std::string& parent) {
    return as(home, home.path(".cache"), [&] {
      std::string reason;
      const auto folder = makeMessageFolder(snap, reason);
      return folder && folder->path.starts_with(home.path(parent + "korvane-compose/message-"));
    });
  };
  const TemporaryFolder bare;
  EXPECT_TRUE(made(bare, ""));
  const TemporaryFolder used;
  used.folder("snap/thunderbird/common");
  EXPECT_TRUE(made(used, "snap/thunderbird/common/"));
  const TemporaryFolder folders;
  folders.folder("Eingang");
  folders.file("config/user-dirs.dirs", "XDG_DOWNLOAD_DIR=\"$HOME/Eingang\"\n");
  EXPECT_TRUE(made(folders, "Eingang/"));
}

TEST(MessageFolder, NamesThatClientsDoNotTakeAreRefused) {
  const TemporaryFolder home;
  EXPECT_TRUE(as(home, home.path("a\nb"), [&] {
    std::string reason;
    return !makeMessageFolder({}, reason) && !reason.empty();
  }));
  home.file("file");
  EXPECT_TRUE(as(home, home.path("file"), [&] {
    std::string reason;
    return !makeMessageFolder({}, reason) && !reason.empty();
  }));
}

}  // namespace
}  // namespace korvane
