#include "linux/detail/ShareTurn.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <numeric>
#include <optional>
#include <set>
#include <thread>

#include "linux/detail/FileManager.h"
#include "linux/detail/FileTree.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"
#include "support/TestPlatform.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

constexpr const char* kNotTaken =
    "the mail client has not taken the files of the message before this one yet";

class ShareTurnTest : public ::testing::Test {
 protected:
  ShareTurnTest() {
    platform.services.fileManager =
        std::make_shared<FileManager>(FileManagerOptions{ContainerRoot(container)});
    platform.install();
  }

  /// The turn of a share of this edition; `said` holds what it tells.
  std::unique_ptr<ShareTurn> turn(const std::string& data = "SharedData") {
    said.clear();
    const auto before = slept();
    auto result =
        std::make_unique<ShareTurn>(container, container + "/" + data + "/Share",
                                    [&](const std::string& line) { said.push_back(line); });
    waited = slept() - before;
    return result;
  }
  double slept() const {
    const auto sleeps = platform.clock->sleeps();
    return std::accumulate(sleeps.begin(), sleeps.end(), 0.0);
  }
  /// A share that stages one file and hands it over.
  void shareBefore(const std::string& name = "file", const std::string& content = "content") {
    const auto first = turn();
    ASSERT_TRUE(first->isOurs());
    stage(name, content);
    ASSERT_EQ(first->noteHandOver(), std::nullopt);
  }
  std::string stage(const std::string& name, const std::string& content) const {
    const std::string path = folder.file("data/C/SharedData/Share/" + name, content);
    passTimeStep();
    return path;
  }
  /// The file system's times advance in steps; what a client does comes in a later one.
  static void passTimeStep() { std::this_thread::sleep_for(std::chrono::milliseconds(12)); }
  static void read(const std::string& path) { (void)contentOf(path); }
  void pass(double seconds) const { platform.clock->sleep(seconds); }

  testing::TestPlatform platform;
  testing::TemporaryFolder folder;
  const std::string container = folder.path("data/C");
  const std::string staging = container + "/SharedData/Share";
  const std::string lockFile = container + ".share";
  std::vector<std::string> said;
  double waited = 0;
};

// One share at a time.

TEST_F(ShareTurnTest, BelongsToOneShareAtATime) {
  const auto first = turn();
  EXPECT_TRUE(first->isOurs());
  EXPECT_EQ(first->refusal(), std::nullopt);
  EXPECT_THAT(said, IsEmpty());
  EXPECT_EQ(waited, 0);

  const auto second = turn();
  EXPECT_FALSE(second->isOurs());
  EXPECT_EQ(second->refusal(), kNotTaken);
  EXPECT_NEAR(waited, 15, 0.1);
  EXPECT_THAT(said, ElementsAre("waiting until the mail client has taken the files of the message "
                                "before this one"));
}

TEST_F(ShareTurnTest, ComesWhenTheOneBeforeEnds) {
  auto first = turn();
  int sleeps = 0;
  platform.clock->onSleep = [&] {
    if (++sleeps == 5) first.reset();
  };
  EXPECT_TRUE(turn()->isOurs());
  EXPECT_EQ(sleeps, 5);
  EXPECT_THAT(said, IsEmpty());
}

TEST_F(ShareTurnTest, OtherContainersHaveTheirOwn) {
  const auto first = turn();
  EXPECT_TRUE(ShareTurn(folder.path("data/D"), folder.path("data/D/SharedData/Share")).isOurs());
}

TEST_F(ShareTurnTest, ALockFileThatIsReplacedMeanwhileExcludesNobody) {
  auto first = turn();
  int sleeps = 0;
  platform.clock->onSleep = [&] {
    if (++sleeps == 5) fs::remove(lockFile);
    if (sleeps == 10) first.reset();
  };
  const auto second = turn();
  EXPECT_TRUE(second->isOurs());
  platform.clock->onSleep = nullptr;
  EXPECT_FALSE(turn()->isOurs());
}

TEST_F(ShareTurnTest, ItsFileLiesBesideTheContainerForTheUserAlone) {
  const mode_t mask = ::umask(0777);
  const auto first = turn();
  ::umask(mask);
  EXPECT_TRUE(first->isOurs());
  EXPECT_FALSE(fs::exists(container));
  struct stat status = {};
  ASSERT_EQ(::stat(lockFile.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  ASSERT_EQ(::stat(folder.path("data").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700U);
}

// No lock file, no turn.

TEST_F(ShareTurnTest, WhereNothingCanBeStagedTheShareBeginsAtOnce) {
  for (const auto& nowhere : {std::optional<std::string>(), std::optional(folder.path("\xE9/C"))}) {
    ShareTurn none(nowhere, "");
    EXPECT_FALSE(none.isOurs());
    EXPECT_EQ(none.refusal(), std::nullopt);
    EXPECT_EQ(none.noteHandOver(), std::nullopt);
    none.forgetHandOver();
  }
  EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST_F(ShareTurnTest, ALockFileThatIsNoneIsToldAtOnce) {
  const std::string target = folder.file("target", "kept");
  folder.folder("data");
  const auto expectRefusal = [&](const std::string& reason) {
    const auto none = turn();
    EXPECT_FALSE(none->isOurs());
    EXPECT_EQ(none->refusal(), "the lock file of shares, " + lockFile + ", " + reason);
    EXPECT_EQ(waited, 0);
  };
  fs::create_symlink(target, lockFile);
  expectRefusal("is a symbolic link, and only a regular file will do");
  fs::remove(lockFile);
  fs::create_symlink("nowhere", lockFile);
  expectRefusal("is a symbolic link, and only a regular file will do");
  fs::remove(lockFile);
  ASSERT_EQ(::mkfifo(lockFile.c_str(), 0600), 0);
  expectRefusal("is not a regular file, and only one will do");
  fs::remove(lockFile);
  fs::create_directory(lockFile);
  expectRefusal("is not a regular file, and only one will do");
  EXPECT_EQ(contentOf(target), "kept");
  fs::remove_all(folder.path("data"));
  folder.file("data");
  expectRefusal("cannot be opened: Not a directory");
}

TEST_F(ShareTurnTest, AnUnreadableLockFileIsTold) {
  folder.file("data/C.share");
  fs::permissions(folder.path("data"), fs::perms::all);
  fs::permissions(folder.path(), fs::perms::all);
  fs::permissions(lockFile, fs::perms::none);
  EXPECT_EQ(testing::inChildAsOrdinaryUser([&] {
              const auto none = turn();
              return !none->isOurs() &&
                     none->refusal() == "the lock file of shares, " + lockFile +
                                            ", cannot be opened: Permission denied";
            }),
            0);
}

// What was handed over.

TEST_F(ShareTurnTest, AHandOverIsNotedWhereFilesWereStaged) {
  {
    const auto first = turn();
    EXPECT_EQ(contentOf(lockFile), "");
    EXPECT_EQ(first->noteHandOver(), std::nullopt);  // a link, a text
    EXPECT_EQ(contentOf(lockFile), "");
    stage("file", "content");
    EXPECT_EQ(first->noteHandOver(), std::nullopt);
    EXPECT_THAT(contentOf(lockFile), MatchesRegex("1800000000\\.[0-9]+ SharedData/Share\n"));
    first->forgetHandOver();
    EXPECT_EQ(contentOf(lockFile), "");
    first->noteHandOver();
  }
  read(staging + "/file");
  EXPECT_TRUE(turn()->isOurs());  // the next share, whatever comes of it
  EXPECT_EQ(contentOf(lockFile), "");
}

TEST_F(ShareTurnTest, FilesThatNobodyHasReadAreNotTakenAway) {
  shareBefore();
  const auto second = turn();
  EXPECT_FALSE(second->isOurs());
  EXPECT_EQ(second->refusal(), kNotTaken);
  EXPECT_NEAR(waited, 15, 0.1);
  EXPECT_EQ(said.size(), 1U);
  EXPECT_TRUE(fs::exists(staging + "/file"));
  EXPECT_THAT(contentOf(lockFile), HasSubstr("SharedData/Share"));
  // Another share is not kept from it by this one.
  read(staging + "/file");
  EXPECT_TRUE(turn()->isOurs());
  EXPECT_EQ(waited, 0);
}

TEST_F(ShareTurnTest, TheTurnComesWhenTheClientReads) {
  shareBefore("album/sub/photo", "content");
  stage("second", "content");
  int sleeps = 0;
  platform.clock->onSleep = [&] {
    if (++sleeps == 100) read(staging + "/album/sub/photo");
    if (sleeps == 200) read(staging + "/second");
  };
  EXPECT_TRUE(turn()->isOurs());
  EXPECT_EQ(sleeps, 200);
  EXPECT_EQ(said.size(), 1U);
}

TEST_F(ShareTurnTest, AClientThatRemovesItsFilesHasTakenThem) {
  shareBefore();
  fs::remove(staging + "/file");
  EXPECT_TRUE(turn()->isOurs());
  fs::remove_all(container);
  EXPECT_TRUE(turn()->isOurs());
}

TEST_F(ShareTurnTest, WhatHoldsNothingCountsAsRead) {
  shareBefore();
  read(staging + "/file");
  stage("empty", "");
  stage(".korvane-0123456789abcdef", "half a copy");
  stage(".korvane-fedcba9876543210/file", "half a copy");
  fs::create_symlink("nowhere", staging + "/link");
  ASSERT_EQ(::mkfifo((staging + "/fifo").c_str(), 0600), 0);
  EXPECT_TRUE(turn()->isOurs());
}

TEST_F(ShareTurnTest, AfterTwoMinutesNobodyComesForThemAnyMore) {
  shareBefore();
  pass(100);
  EXPECT_FALSE(turn()->isOurs());  // 115 s now
  EXPECT_TRUE(turn()->isOurs());
  EXPECT_NEAR(waited, 5, 0.2);
}

TEST_F(ShareTurnTest, TheAnswerOfTheClientBeginsTheTwoMinutes) {
  {
    const auto first = turn();
    stage("file", "content");
    first->noteHandOver();
    pass(60);
    first->noteHandOver();
  }
  pass(100);
  EXPECT_FALSE(turn()->isOurs());
}

TEST_F(ShareTurnTest, AClockThatWasSetBackKeepsNothingForLonger) {
  shareBefore();
  pass(-3600);
  EXPECT_TRUE(turn()->isOurs());
}

TEST_F(ShareTurnTest, WhatWasNotHandedOverIsNotKept) {
  {
    const auto first = turn();
    stage("file", "content");
    first->noteHandOver();
    first->forgetHandOver();  // refused
  }
  EXPECT_TRUE(turn()->isOurs());
  EXPECT_EQ(waited, 0);
  {
    const auto third = turn();
    stage("file", "content");  // killed before it was handed over
  }
  EXPECT_TRUE(turn()->isOurs());
}

TEST_F(ShareTurnTest, EditionsDoNotTakeOneAnothersNotes) {
  shareBefore();
  {
    const auto beta = turn("SharedDataBeta");
    EXPECT_TRUE(beta->isOurs());
    folder.file("data/C/SharedDataBeta/Share/b", "content");
    beta->noteHandOver();
  }
  EXPECT_FALSE(turn()->isOurs());
  EXPECT_FALSE(turn("SharedDataBeta")->isOurs());
  read(staging + "/file");
  EXPECT_TRUE(turn()->isOurs());
  EXPECT_THAT(contentOf(lockFile), MatchesRegex("[0-9.]+ SharedDataBeta/Share\n"));
  pass(120);
  EXPECT_TRUE(turn()->isOurs());
  EXPECT_TRUE(turn("SharedDataBeta")->isOurs());
  EXPECT_EQ(contentOf(lockFile), "");
}

TEST_F(ShareTurnTest, ADamagedNoteIsNone) {
  shareBefore();
  for (const char* text :
       {"SharedData/Share\n", "x SharedData/Share\n", "1800000000 \n", "\n\n", "1800000000",
        "nan SharedData/Share\n", "inf SharedData/Share\n", "1800000000 SharedData/Share"}) {
    folder.file("data/C.share", text);
    EXPECT_TRUE(turn()->isOurs()) << text;
  }
  folder.file("data/C.share", std::string(100'000, '\n') + "1800000000 SharedData/Share\n");
  EXPECT_TRUE(turn()->isOurs());
  // The last time of a folder counts.
  folder.file("data/C.share", "1800000000 SharedData/Share\n1 SharedData/Share\nrest");
  EXPECT_FALSE(turn()->isOurs());
}

TEST_F(ShareTurnTest, ANoteThatCannotBeWrittenIsToldBeforeAnythingIsHandedOver) {
  EXPECT_EQ(testing::inChild([&] {
              ::signal(SIGXFSZ, SIG_IGN);
              const auto first = turn();
              stage("file", "content");
              if (!testing::setLimit(RLIMIT_FSIZE, 0)) return false;
              return first->noteHandOver() ==
                     "the lock file of shares, " + lockFile + ", cannot be written: File too large";
            }),
            0);
}

constexpr int kNoMount = 3;

/// Runs the work with a small disk mounted at the path, which goes with the process.
int onOwnDisk(const std::string& path, unsigned long flags, const std::function<bool()>& work) {
  fs::create_directories(path);
  return testing::inChild([&] {
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) ||
        ::mount("tmpfs", path.c_str(), "tmpfs", flags, "size=1m") != 0) {
      ::_exit(kNoMount);
    }
    return work();
  });
}

TEST_F(ShareTurnTest, WhereReadingIsNotNotedTenSecondsAreTheBound) {
  const int status = onOwnDisk(container, MS_NOATIME, [&] {
    shareBefore();
    read(staging + "/file");
    const auto second = turn();
    return second->isOurs() && waited > 9.9 && waited < 10.2 && said.size() == 1;
  });
  if (status == kNoMount) GTEST_SKIP() << "this user cannot mount a disk";
  EXPECT_EQ(status, 0);
}

TEST_F(ShareTurnTest, ADiskInMemoryNotesReading) {
  for (const unsigned long flags :
       {static_cast<unsigned long>(MS_RELATIME), static_cast<unsigned long>(MS_STRICTATIME)}) {
    const int status = onOwnDisk(container, flags, [&] {
      shareBefore();
      if (turn()->isOurs()) return false;
      read(staging + "/file");
      return turn()->isOurs() && waited == 0;
    });
    if (status == kNoMount) GTEST_SKIP() << "this user cannot mount a disk";
    EXPECT_EQ(status, 0) << flags;
  }
}

TEST_F(ShareTurnTest, FilesThatFillTheDiskLeaveRoomForTheNote) {
  const int status = onOwnDisk(folder.path("data"), 0, [&] {
    shareBefore();
    read(staging + "/file");
    const auto second = turn();
    if (!second->isOurs()) return false;
    stage("unread", "content");
    std::ofstream all(staging + "/all", std::ios::binary);
    while (all << std::string(4096, 'x') << std::flush) {
    }
    return second->noteHandOver() == std::nullopt && contentOf(lockFile).size() > 10;
  });
  if (status == kNoMount) GTEST_SKIP() << "this user cannot mount a disk";
  EXPECT_EQ(status, 0);
}

// What killed shares left.

TEST_F(ShareTurnTest, FoldersThatAKilledShareLeftAreRemoved) {
  folder.file("data/C/SharedData/.korvane-0123456789abcdef/a/b", "old");
  folder.file("data/C/SharedData/.korvane-held567890abcdef/file", "kept");
  folder.file("data/C/SharedData/.korvane-fedcba9876543210", "a file is somebody else's");
  folder.file("data/C/SharedData/.korvane-short/file", "kept");
  folder.file("data/C/SharedData/Accounts.plist", "kept");
  const FileDescriptor data(::open((container + "/SharedData").c_str(), O_RDONLY | O_DIRECTORY));
  const HeldFolder held(data.get(), ".korvane-held567890abcdef");
  const auto first = turn();
  std::set<std::string> left;
  for (const auto& entry : fs::directory_iterator(container + "/SharedData")) {
    left.insert(entry.path().filename());
  }
  EXPECT_EQ(left, (std::set<std::string>{".korvane-held567890abcdef", ".korvane-fedcba9876543210",
                                         ".korvane-short", "Accounts.plist"}));
}

}  // namespace
}  // namespace korvane
