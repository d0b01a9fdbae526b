// Run with arguments, this program is one of the processes that its tests coordinate; see main.
#include "linux/detail/FileCoordinator.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <iostream>
#include <stdexcept>
#include <thread>

#include "support/ChildProcess.h"
#include "support/Places.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using testing::ChildProcess;
using testing::contentOf;
using testing::TemporaryFolder;

constexpr auto kForDeleting = NSFileCoordinatorWritingOptions::forDeleting;

class FileCoordinatorTest : public ::testing::Test {
 protected:
  /// Takes an access and gives its error.
  std::optional<NSError> access(
      const std::string& path, const std::function<void()>& work = [] {}) {
    std::optional<NSError> error;
    coordinator.coordinateWritingItemAtURL(NSURL::fileURLWithPath(path), kForDeleting, error,
                                           [&](const NSURL&) { work(); });
    return error;
  }
  std::string item(const std::string& name) const {
    return name.starts_with('/') || name.empty() ? root + name : root + "/" + name;
  }
  /// A process that says "asking", takes the access, says "held" and keeps it until told.
  std::vector<std::string> holding(const std::string& path) const {
    return {"/proc/self/exe", "--hold", root, path};
  }
  /// What probing the byte for an exclusive lock finds: F_UNLCK, F_RDLCK or F_WRLCK.
  short lockAt(off_t byte) const {
    const int file = ::open((root + ".lock").c_str(), O_RDWR);
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_start = byte;
    lock.l_len = 1;
    EXPECT_EQ(::fcntl(file, F_OFD_GETLK, &lock), 0);
    ::close(file);
    return lock.l_type;
  }

  TemporaryFolder folder;
  std::string root = folder.path("data/root");
  FileCoordinator coordinator{ContainerRoot(root)};
};

// One access.

TEST_F(FileCoordinatorTest, RunsTheAccessorOnceOnTheCallingThreadWithTheURL) {
  const NSURL url = NSURL::fileURLWithPath(item("SharedData/Share"));
  const auto thread = std::this_thread::get_id();
  int runs = 0;
  std::optional<NSError> error;
  coordinator.coordinateWritingItemAtURL(url, kForDeleting, error, [&](const NSURL& given) {
    ++runs;
    EXPECT_EQ(given, url);
    EXPECT_EQ(std::this_thread::get_id(), thread);
  });
  EXPECT_EQ(runs, 1);
  EXPECT_FALSE(error);
  EXPECT_FALSE(fs::exists(root)) << "the container is not made";
}

TEST_F(FileCoordinatorTest, FailsWithoutAUsableURL) {
  int runs = 0;
  const auto code = [&](FileCoordinator& by, const std::optional<NSURL>& url) {
    std::optional<NSError> error;
    by.coordinateWritingItemAtURL(url, kForDeleting, error, [&](const NSURL&) { ++runs; });
    return error ? error->code : 0;
  };
  EXPECT_EQ(code(coordinator, std::nullopt), EINVAL);
  EXPECT_EQ(code(coordinator, NSURL::URLWithString("https://a.example/x")), EINVAL);
  EXPECT_EQ(code(coordinator, NSURL::URLWithString("file:///a%00b")), EINVAL);
  FileCoordinator none{ContainerRoot(std::nullopt)};
  EXPECT_EQ(code(none, NSURL::fileURLWithPath("/x")), EINVAL);
  EXPECT_EQ(runs, 0);
}

TEST_F(FileCoordinatorTest, FailsWithoutALockFile) {
  folder.folder("data");
  fs::create_symlink(folder.file("elsewhere"), root + ".lock");
  EXPECT_EQ(access(item("a"))->code, ELOOP);
  fs::remove(root + ".lock");
  ASSERT_EQ(::mkfifo((root + ".lock").c_str(), 0600), 0);
  EXPECT_EQ(access(item("a"))->code, EINVAL);
  fs::remove(root + ".lock");
  fs::create_directory(root + ".lock");
  EXPECT_EQ(access(item("a"))->code, EISDIR);
  fs::remove(root + ".lock");
  EXPECT_FALSE(access(item("a")));
}

TEST_F(FileCoordinatorTest, TheLockFileIsPrivateAndStays) {
  folder.folder("data");
  const mode_t before = ::umask(0277);
  EXPECT_FALSE(access(item("a")));
  ::umask(before);
  struct stat status = {};
  ASSERT_EQ(::stat((root + ".lock").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  const ino_t inode = status.st_ino;
  EXPECT_FALSE(access(item("b")));
  ASSERT_EQ(::stat((root + ".lock").c_str(), &status), 0);
  EXPECT_EQ(status.st_ino, inode);
  EXPECT_EQ(status.st_size, 0);
}

TEST_F(FileCoordinatorTest, LocksTheBytesOfTheProtocol) {
  constexpr off_t kContainer = 0x4bf29ce484222325;
  constexpr off_t kSharedData = 0x5dc920a7a7af64dc;
  constexpr off_t kShare = 0x4162691f0741788c;
  for (const char* path : {"SharedData/Share", "/SharedData//./x/../Share/"}) {
    EXPECT_FALSE(access(item(path), [&] {
      EXPECT_EQ(lockAt(kContainer), F_RDLCK);
      EXPECT_EQ(lockAt(kSharedData), F_RDLCK);
      EXPECT_EQ(lockAt(kShare), F_WRLCK);
    }));
  }
  EXPECT_FALSE(access(root, [&] { EXPECT_EQ(lockAt(kContainer), F_WRLCK); }));
  EXPECT_FALSE(access(folder.path(), [&] { EXPECT_EQ(lockAt(kContainer), F_WRLCK); }));
  EXPECT_FALSE(access("/", [&] { EXPECT_EQ(lockAt(kContainer), F_WRLCK); }));
  EXPECT_FALSE(access("/elsewhere", [&] { EXPECT_EQ(lockAt(kContainer), F_UNLCK); }));
  for (const off_t byte : {kContainer, kSharedData, kShare}) EXPECT_EQ(lockAt(byte), F_UNLCK);
}

TEST_F(FileCoordinatorTest, AnExceptionPassesAndEndsTheAccess) {
  EXPECT_THROW(access(item("a"), [] { throw std::runtime_error("x"); }), std::runtime_error);
  EXPECT_FALSE(access(item("a")));
  ChildProcess other(holding(item("a")));
  EXPECT_EQ(other.readLine(), "asking");
  EXPECT_EQ(other.readLine(), "held");
}

TEST_F(FileCoordinatorTest, AThreadIsRefusedWhatConflictsWithItsOwnAccess) {
  FileCoordinator twin{ContainerRoot(root)};
  EXPECT_FALSE(access(item("a/b"), [&] {
    for (const char* path : {"a/b", "a", "", "a/b/c"}) {
      std::optional<NSError> error;
      twin.coordinateWritingItemAtURL(NSURL::fileURLWithPath(item(path)), kForDeleting, error,
                                      [](const NSURL&) { ADD_FAILURE(); });
      EXPECT_EQ(error ? error->code : 0, EDEADLK) << path;
      EXPECT_EQ(access(item(path))->code, EDEADLK) << path;
    }
    int runs = 0;
    EXPECT_FALSE(access(item("a/c"), [&] { ++runs; }));
    EXPECT_FALSE(access(item("b"), [&] { ++runs; }));
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(access(item("a/b/c"))->code, EDEADLK) << "also after another access inside";
  }));
  EXPECT_FALSE(access(item("a/b/c")));
}

// Threads.

TEST_F(FileCoordinatorTest, ThreadsAreAloneInTheirAccesses) {
  int counter = 0;  // not atomic: the accesses order its uses
  std::atomic<int> inside = 0;
  std::atomic<int> together = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      const char* paths[] = {"a/b", "a", "a/b/c"};
      for (int i = 0; i < 200; ++i) {
        // "a/b/c" and "a/b" and "a" exclude one another.
        if (access(item(paths[(i + t) % 3]), [&] {
              if (++inside != 1) ++together;
              ++counter;
              --inside;
            })) {
          ++together;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter, 800);
  EXPECT_EQ(together, 0);
}

TEST_F(FileCoordinatorTest, SetsOfServicesInOneProcessCoordinate) {
  FileCoordinator twin{ContainerRoot(root)};
  std::atomic<int> inside = 0;
  std::atomic<int> together = 0;
  const auto work = [&](FileCoordinator& by) {
    for (int i = 0; i < 300; ++i) {
      std::optional<NSError> error;
      by.coordinateWritingItemAtURL(NSURL::fileURLWithPath(item("a")), kForDeleting, error,
                                    [&](const NSURL&) {
                                      if (++inside != 1) ++together;
                                      --inside;
                                    });
    }
  };
  std::thread other([&] { work(twin); });
  work(coordinator);
  other.join();
  EXPECT_EQ(together, 0);
}

TEST_F(FileCoordinatorTest, UnrelatedAccessesOfThreadsRunAtTheSameTime) {
  // Each waits inside its access for the other: only side by side can both end.
  std::atomic<int> inside = 0;
  const auto meet = [&] {
    ++inside;
    while (inside < 2) std::this_thread::yield();
  };
  std::thread other([&] { EXPECT_FALSE(access(item("a/b"), meet)); });
  EXPECT_FALSE(access(item("a/c"), meet));
  other.join();
}

// Processes.

struct Pair {
  const char* held;
  const char* asked;
  bool conflict;
};

class FileCoordinatorPairs : public FileCoordinatorTest,
                             public ::testing::WithParamInterface<Pair> {};

TEST_P(FileCoordinatorPairs, ExcludeOneAnotherAcrossProcesses) {
  const auto [held, asked, conflict] = GetParam();
  for (const auto& [first, second] : {std::pair(held, asked), std::pair(asked, held)}) {
    ChildProcess holder(holding(item(first)));
    ASSERT_EQ(holder.readLine(), "asking");
    ASSERT_EQ(holder.readLine(), "held");
    ChildProcess asker(holding(item(second)));
    ASSERT_EQ(asker.readLine(), "asking");
    asker.waitUntilAsleep();
    EXPECT_EQ(asker.hasOutput(), !conflict);
    holder.writeLine("leave");
    EXPECT_EQ(holder.wait(), 0);
    EXPECT_EQ(asker.readLine(), "held");
  }
}

INSTANTIATE_TEST_SUITE_P(Items, FileCoordinatorPairs,
                         ::testing::Values(Pair{"a", "a", true}, Pair{"a", "a/", true},
                                           Pair{"a", "a/b", true}, Pair{"a", "a/b/c/d", true},
                                           Pair{"", "a/b", true}, Pair{"", "", true},
                                           Pair{"a/x/../b", "a/b", true}, Pair{"a/b", "a/c", false},
                                           Pair{"a", "ab", false}, Pair{"a/b", "b/a", false},
                                           Pair{"a/b", "c", false}, Pair{"/../../x", "a", false},
                                           Pair{"/..", "a", true},
                                           Pair{"/../../../../../../..", "a/b", true}));

TEST_F(FileCoordinatorTest, HomesReachedThroughLinksAgree) {
  folder.folder("data");
  fs::create_directory_symlink(folder.path("data"), folder.path("alias"));
  EXPECT_FALSE(access(item("a"), [&] {
    ChildProcess other(
        {"/proc/self/exe", "--hold", folder.path("alias/root"), folder.path("alias/root/a/b")});
    ASSERT_EQ(other.readLine(), "asking");
    other.waitUntilAsleep();
    EXPECT_FALSE(other.hasOutput());
  }));
}

TEST_F(FileCoordinatorTest, ProcessesCountTogether) {
  const std::string file = folder.file("counter", "0");
  std::vector<std::unique_ptr<ChildProcess>> processes;
  for (const char* path : {"a", "a/b", "", "a"}) {
    processes.push_back(std::make_unique<ChildProcess>(
        std::vector<std::string>{"/proc/self/exe", "--count", root, item(path), file, "150"}));
  }
  for (auto& process : processes) EXPECT_EQ(process->wait(), 0);
  EXPECT_EQ(contentOf(file), "600");
}

TEST_F(FileCoordinatorTest, AnotherProcessThatDoesNotEndIsGivenUp) {
  EXPECT_EQ(FileCoordinator::kLongestWait, 10);
  ChildProcess holder(holding(item("SharedData/Share")));
  ASSERT_EQ(holder.readLine(), "asking");
  ASSERT_EQ(holder.readLine(), "held");
  FileCoordinator impatient(ContainerRoot(root), 0.05);
  const auto tryAccess = [&](const std::string& name) {
    std::optional<NSError> error;
    bool ran = false;
    impatient.coordinateWritingItemAtURL(NSURL::fileURLWithPath(item(name)), kForDeleting, error,
                                         [&](const NSURL&) { ran = true; });
    EXPECT_NE(ran, error.has_value());
    return error;
  };
  for (const char* name : {"SharedData/Share", "SharedData", "", "SharedData/Share/a"}) {
    const auto error = tryAccess(name);
    ASSERT_TRUE(error) << name;
    EXPECT_EQ(error->code, ETIMEDOUT) << error->description();
  }
  // Who gave up keeps nobody else waiting.
  EXPECT_FALSE(tryAccess("Contacts"));
  EXPECT_FALSE(tryAccess("SharedData/Accounts.plist"));
  holder.kill();
  EXPECT_FALSE(access(item("SharedData/Share")));
  EXPECT_FALSE(access(item("")));
}

TEST_F(FileCoordinatorTest, AnotherThreadThatDoesNotEndIsGivenUpToo) {
  FileCoordinator impatient(ContainerRoot(root), 0.05);
  std::optional<NSError> error;
  std::optional<NSError> second;
  bool ran = false;
  const NSURL url = NSURL::fileURLWithPath(item("a"));
  impatient.coordinateWritingItemAtURL(url, kForDeleting, error, [&](const NSURL&) {
    std::thread([&] {
      impatient.coordinateWritingItemAtURL(url, kForDeleting, second,
                                           [&](const NSURL&) { ran = true; });
    }).join();
  });
  EXPECT_FALSE(error);
  ASSERT_TRUE(second);
  EXPECT_EQ(second->code, ETIMEDOUT);
  EXPECT_EQ(second->localizedDescription, "a: another program keeps it locked");
  EXPECT_FALSE(ran);
  impatient.coordinateWritingItemAtURL(url, kForDeleting, error, [&](const NSURL&) { ran = true; });
  EXPECT_TRUE(ran);
}

TEST_F(FileCoordinatorTest, AKilledProcessLeavesNoLock) {
  for (int i = 0; i < 200; ++i) {
    ChildProcess holder(holding(item("a")));
    if (i % 4 > 0) {
      ASSERT_EQ(holder.readLine(), "asking");
    }
    if (i % 4 > 1) {
      ASSERT_EQ(holder.readLine(), "held");
    }
    ChildProcess waiter(holding(item("a/b")));
    if (i % 4 == 3) {
      ASSERT_EQ(waiter.readLine(), "asking");
    }
    waiter.kill();
    holder.kill();
    ASSERT_FALSE(access(item("a")));
  }
}

TEST_F(FileCoordinatorTest, AProgramStartedInsideDoesNotKeepTheAccess) {
  std::unique_ptr<ChildProcess> bystander;
  EXPECT_FALSE(access(item("a"), [&] {
    bystander = std::make_unique<ChildProcess>(std::vector<std::string>{"cat"});
    bystander->writeLine("runs");
    EXPECT_EQ(bystander->readLine(), "runs");
  }));
  ChildProcess other(holding(item("a")));
  EXPECT_EQ(other.readLine(), "asking");
  EXPECT_EQ(other.readLine(), "held");
}

TEST_F(FileCoordinatorTest, NoticesThatTheLockFileWasReplaced) {
  ChildProcess first(holding(item("a")));
  ASSERT_EQ(first.readLine(), "asking");
  ASSERT_EQ(first.readLine(), "held");
  ChildProcess second(holding(item("a")));
  ASSERT_EQ(second.readLine(), "asking");
  second.waitUntilAsleep();  // waits for a lock on the old file
  fs::remove(root + ".lock");
  ChildProcess third(holding(item("a")));
  ASSERT_EQ(third.readLine(), "asking");
  ASSERT_EQ(third.readLine(), "held");
  first.writeLine("leave");
  first.wait();
  second.waitUntilAsleep();
  EXPECT_FALSE(second.hasOutput());
  third.writeLine("leave");
  EXPECT_EQ(second.readLine(), "held");
}

TEST_F(FileCoordinatorTest, TheDocumentsExampleTakesPart) {
  const std::string document = contentOf(KORVANE_SOURCE_DIR "/docs/coordination.md");
  const std::string mark = "```python\n";
  const std::size_t begin = document.find(mark) + mark.size();
  ASSERT_NE(begin, std::string::npos + mark.size());
  const std::string program = document.substr(begin, document.find("```", begin) - begin);
  if (testing::inChild([] { return std::system("python3 -c 0 2>/dev/null") == 0; }) != 0) {
    GTEST_SKIP() << "there is no python3";
  }
  folder.folder("data");
  ChildProcess theirs({"python3", "-c", program, root, "a/b"});
  ASSERT_EQ(theirs.readLine(), "held");
  ChildProcess ours(holding(item("a")));
  ASSERT_EQ(ours.readLine(), "asking");
  ours.waitUntilAsleep();
  EXPECT_FALSE(ours.hasOutput());
  EXPECT_FALSE(access(item("c")));
  theirs.kill();
  EXPECT_EQ(ours.readLine(), "held");

  ChildProcess inside({"python3", "-c", program, root, "a/b/c"});
  ChildProcess outside({"python3", "-c", program, root, "c"});
  EXPECT_EQ(outside.readLine(), "held");
  EXPECT_FALSE(inside.hasOutput());
  ours.writeLine("leave");
  EXPECT_EQ(inside.readLine(), "held");
}

int hold(const std::string& root, const std::string& path) {
  FileCoordinator coordinator{ContainerRoot(root)};
  std::cout << "asking" << std::endl;
  std::optional<NSError> error;
  coordinator.coordinateWritingItemAtURL(NSURL::fileURLWithPath(path), kForDeleting, error,
                                         [](const NSURL&) {
                                           std::cout << "held" << std::endl;
                                           std::string line;
                                           std::getline(std::cin, line);
                                         });
  return error ? 1 : 0;
}

int count(const std::string& root, const std::string& path, const std::string& file, int times) {
  FileCoordinator coordinator{ContainerRoot(root)};
  std::optional<NSError> error;
  for (int i = 0; i < times; ++i) {
    coordinator.coordinateWritingItemAtURL(NSURL::fileURLWithPath(path), kForDeleting, error,
                                           [&](const NSURL&) {
                                             const int value = std::stoi(contentOf(file));
                                             std::ofstream(file) << value + 1;
                                           });
  }
  return error ? 1 : 0;
}

}  // namespace
}  // namespace korvane

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv, argv + argc);
  if (argc == 4 && arguments[1] == "--hold") return korvane::hold(arguments[2], arguments[3]);
  if (argc == 6 && arguments[1] == "--count") {
    return korvane::count(arguments[2], arguments[3], arguments[4], std::stoi(arguments[5]));
  }
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
