#include "linux/detail/StagedFiles.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;

class StagedFilesTest : public ::testing::Test {
 protected:
  /// Reads a file, in a later step of the file system's times than that in which it was written.
  void read(const std::string& relative) const {
    std::this_thread::sleep_for(std::chrono::milliseconds(12));
    (void)contentOf(folder.path(relative));
  }

  testing::TemporaryFolder folder;
};

TEST_F(StagedFilesTest, AFileIsUnreadUntilSomebodyReadsIt) {
  EXPECT_FALSE(holdsUnreadFiles(folder.path("missing")));
  EXPECT_FALSE(holdsUnreadFiles(folder.path()));
  folder.file("a", "x");
  EXPECT_TRUE(holdsUnreadFiles(folder.path()));
  EXPECT_TRUE(holdsUnreadFiles(folder.path()));  // looking is not reading
  read("a");
  EXPECT_FALSE(holdsUnreadFiles(folder.path()));
  folder.file("sub/deep/b", "x");
  EXPECT_TRUE(holdsUnreadFiles(folder.path()));
  read("sub/deep/b");
  EXPECT_FALSE(holdsUnreadFiles(folder.path()));
}

TEST_F(StagedFilesTest, ChangingAFileMakesItUnread) {
  folder.file("a", "x");
  read("a");
  std::this_thread::sleep_for(std::chrono::milliseconds(12));
  fs::permissions(folder.path("a"), fs::perms::owner_read);
  EXPECT_TRUE(holdsUnreadFiles(folder.path()));
}

TEST_F(StagedFilesTest, OnlyFilesWithContentAreWaitedFor) {
  folder.file("empty");
  folder.folder("sub");
  fs::create_symlink("/etc/passwd", folder.path("link"));
  fs::create_symlink(folder.folder("elsewhere"), folder.path("link to a folder"));
  ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
  folder.file(".korvane-0123456789abcdef", "half");
  folder.file(".korvane-fedcba9876543210/file", "half");
  EXPECT_FALSE(holdsUnreadFiles(folder.path()));
  folder.file(".korvane-notes", "whole");
  EXPECT_TRUE(holdsUnreadFiles(folder.path()));
}

TEST_F(StagedFilesTest, TellsWhetherReadingIsNoted) {
  EXPECT_TRUE(keepsAccessTimes(folder.path("missing")));  // who knows
  constexpr int kNoMount = 3;
  const auto onDisk = [&](unsigned long flags) {
    return testing::inChild([&] {
      if (::unshare(CLONE_NEWNS) != 0 ||
          ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
          ::mount("tmpfs", folder.path().c_str(), "tmpfs", flags, "size=1m") != 0) {
        ::_exit(kNoMount);
      }
      const bool kept = keepsAccessTimes(folder.path());
      return kept && fs::is_empty(folder.path());
    });
  };
  const int relative = onDisk(MS_RELATIME);
  if (relative == kNoMount) GTEST_SKIP() << "this user cannot mount a disk";
  EXPECT_EQ(relative, 0);
  EXPECT_EQ(onDisk(MS_STRICTATIME), 0);
  EXPECT_EQ(onDisk(MS_NOATIME), 1);
}

}  // namespace
}  // namespace korvane
