#include "linux/detail/FileManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::inChild;
using testing::inChildAsOrdinaryUser;
using testing::modeOf;
using testing::TemporaryFolder;

NSURL fileURL(const std::string& path) { return NSURL::fileURLWithPath(path); }

NSData bytes(std::string_view text) { return {text.begin(), text.end()}; }

std::size_t entriesIn(const std::string& folder) {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

class FileManagerTest : public ::testing::Test {
 protected:
  static FileManager managerOf(const std::string& path) {
    return FileManager({ContainerRoot(path)});
  }

  TemporaryFolder folder;
  std::string root = folder.path("data/Q7K4M2XW9P.korvane");
  FileManager files = managerOf(root);
  std::optional<NSError> error;
};

// Listing.

TEST_F(FileManagerTest, ListsWhatAFolderHoldsButNotThroughALinkInTheContainer) {
  fs::create_directories(root + "/Share/inner");
  std::ofstream(root + "/Share/.a b") << "x";
  fs::create_symlink("/nowhere", root + "/Share/link");
  EXPECT_THAT(files.contentsOfDirectoryAtPath(root + "/Share"),
              ::testing::UnorderedElementsAre("inner", ".a b", "link"));
  EXPECT_TRUE(files.contentsOfDirectoryAtPath(root + "/Share/inner").empty());
  EXPECT_TRUE(files.contentsOfDirectoryAtPath(root + "/missing").empty());
  EXPECT_TRUE(files.contentsOfDirectoryAtPath(root + "/Share/.a b").empty());
  fs::create_directory_symlink(root + "/Share", root + "/Alias");
  EXPECT_TRUE(files.contentsOfDirectoryAtPath(root + "/Alias").empty());
}

// The container.

TEST_F(FileManagerTest, GivesTheContainerOfTheGroupAlone) {
  const auto url = files.containerURLForSecurityApplicationGroupIdentifier("Q7K4M2XW9P.korvane");
  ASSERT_TRUE(url);
  EXPECT_EQ(url->absoluteString(), "file://" + root + "/");
  fs::create_directories(root);
  EXPECT_EQ(files.containerURLForSecurityApplicationGroupIdentifier("Q7K4M2XW9P.korvane"), url);
  for (const char* other : {"", "Q7K4M2XW9P.Korvane", "Q7K4M2XW9P.korvane2"}) {
    EXPECT_FALSE(files.containerURLForSecurityApplicationGroupIdentifier(other)) << other;
  }
}

TEST_F(FileManagerTest, EncodesTheContainersPath) {
  FileManager odd = managerOf("/home/caf\xE9/a b;c?/x");
  EXPECT_EQ(odd.containerURLForSecurityApplicationGroupIdentifier("Q7K4M2XW9P.korvane")
                ->fileSystemRepresentation(),
            "/home/caf\xE9/a b;c?/x");
}

TEST_F(FileManagerTest, HasNoContainerWithoutAPath) {
  for (const auto& path : {std::optional<std::string>(), std::optional<std::string>("relative")}) {
    FileManager none({ContainerRoot(path)});
    EXPECT_FALSE(none.containerURLForSecurityApplicationGroupIdentifier("Q7K4M2XW9P.korvane"));
  }
}

TEST(ContainerRoot, FollowsTheUsersDataFolder) {
  struct Row {
    const char* dataHome;
    const char* home;
    std::optional<std::string> want;
  };
  const std::string group = "/Q7K4M2XW9P.korvane";
  const Row rows[] = {
      {"/data", "/home/u", "/data" + group},
      {"/data//x/../y/", "/home/u", "/data/y" + group},
      {nullptr, "/home/u", "/home/u/.local/share" + group},
      {"", "/home/u", "/home/u/.local/share" + group},
      {"data", "/home/u", "/home/u/.local/share" + group},
      {"./data", "/home/u/", "/home/u/.local/share" + group},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(inChild([&] {
                row.dataHome ? ::setenv("XDG_DATA_HOME", row.dataHome, 1)
                             : ::unsetenv("XDG_DATA_HOME");
                ::setenv("HOME", row.home, 1);
                return ContainerRoot().path() == row.want;
              }),
              0)
        << (row.dataHome ? row.dataHome : "(none)");
  }
}

TEST(ContainerRoot, AsksTheUserDatabaseWithoutAUsableHOME) {
  for (const char* home : {"", "relative", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(inChild([&] {
                ::unsetenv("XDG_DATA_HOME");
                home ? ::setenv("HOME", home, 1) : ::unsetenv("HOME");
                const auto path = ContainerRoot().path();
                return !path || path->starts_with('/');
              }),
              0);
  }
}

TEST(ContainerRoot, TellsWhatIsInside) {
  const ContainerRoot root("/c/root");
  EXPECT_EQ(root.relativePath("/c/root"), "");
  EXPECT_EQ(root.relativePath("/c/root/"), "");
  EXPECT_EQ(root.relativePath("/c//root/./a/../b/"), "b");
  EXPECT_EQ(root.relativePath("/c/root2"), std::nullopt);
  EXPECT_EQ(root.relativePath("/c/root/../x"), std::nullopt);
  EXPECT_EQ(root.relativePath("/c"), std::nullopt);
}

// Nothing in the container is followed as a link.

TEST_F(FileManagerTest, FollowsNoLinkInTheContainer) {
  const std::string secret = folder.file("Documents/Share/secret", "secret");
  const std::string source = folder.file("source", "x");
  fs::create_directories(root);
  fs::create_directory_symlink(folder.path("Documents"), root + "/SharedData");
  const std::string inside = root + "/SharedData/Share";

  using Operation = std::function<bool(std::optional<NSError>&)>;
  const std::pair<const char*, Operation> operations[] = {
      {"remove", [&](auto& e) { return files.removeItemAtURL(fileURL(inside), e); }},
      {"remove deeper",
       [&](auto& e) { return files.removeItemAtURL(fileURL(inside + "/secret"), e); }},
      {"create", [&](auto& e) { return files.createDirectoryAtURL(fileURL(inside), true, e); }},
      {"create one",
       [&](auto& e) { return files.createDirectoryAtURL(fileURL(inside + "/x"), false, e); }},
      {"create at the link",
       [&](auto& e) { return files.createDirectoryAtURL(fileURL(root + "/SharedData"), true, e); }},
      {"copy into", [&](auto& e) { return files.copyItemAtPath(source, inside + "/x", e); }},
      {"copy out of",
       [&](auto& e) { return files.copyItemAtPath(inside + "/secret", folder.path("out"), e); }},
      {"copy the link",
       [&](auto& e) { return files.copyItemAtPath(root + "/SharedData", folder.path("out"), e); }},
      {"copy what holds the link",
       [&](auto& e) { return files.copyItemAtPath(root, folder.path("out"), e); }},
      {"write", [&](auto& e) { return files.writeDataAtomically({}, inside + "/secret", e); }},
  };
  for (const auto& [name, operation] : operations) {
    std::optional<NSError> failure;
    EXPECT_FALSE(operation(failure)) << name;
    ASSERT_TRUE(failure) << name;
    EXPECT_EQ(failure->code, ELOOP) << name << ": " << failure->description();
    EXPECT_NE(failure->localizedDescription.find("SharedData"), std::string::npos) << name;
  }
  EXPECT_FALSE(files.fileExistsAtPath(inside));
  EXPECT_TRUE(files.fileExistsAtPath(root + "/SharedData"));
  EXPECT_FALSE(files.directoryExistsAtPath(root + "/SharedData"));
  EXPECT_EQ(contentOf(secret), "secret");
  EXPECT_EQ(entriesIn(folder.path("Documents/Share")), 1U);
  EXPECT_FALSE(fs::exists(folder.path("out")));

  EXPECT_TRUE(files.removeItemAtURL(fileURL(root + "/SharedData"), error));
  EXPECT_EQ(contentOf(secret), "secret");
  EXPECT_FALSE(fs::is_symlink(root + "/SharedData"));
}

TEST_F(FileManagerTest, FollowsNoLinkInTheContainerNamedThroughAnotherPath) {
  folder.file("Documents/secret", "secret");
  fs::create_directories(root);
  fs::create_directory_symlink(folder.path("data"), folder.path("alias"));
  fs::create_directory_symlink(folder.path("Documents"), root + "/SharedData");
  FileManager throughAlias = managerOf(folder.path("alias/Q7K4M2XW9P.korvane"));
  for (const std::string& path :
       {root + "/SharedData/secret", folder.path("alias/Q7K4M2XW9P.korvane/SharedData/secret")}) {
    std::optional<NSError> failure;
    EXPECT_FALSE(throughAlias.removeItemAtURL(fileURL(path), failure)) << path;
    EXPECT_EQ(failure ? failure->code : 0, ELOOP) << path;
  }
  EXPECT_EQ(contentOf(folder.path("Documents/secret")), "secret");
}

TEST_F(FileManagerTest, WorksWhereTheHomeIsALink) {
  folder.folder("real");
  fs::create_directory_symlink(folder.path("real"), folder.path("home"));
  FileManager linked = managerOf(folder.path("home/share/root"));
  ASSERT_TRUE(linked.createDirectoryAtURL(fileURL(folder.path("home/share/root/SharedData/Share")),
                                          true, error))
      << error->description();
  EXPECT_TRUE(fs::is_directory(folder.path("real/share/root/SharedData/Share")));
}

// Removing.

TEST_F(FileManagerTest, RemovesAFolderWithAllItHoldsAndNoLinksTarget) {
  const std::string kept = folder.file("kept/file", "kept");
  folder.file("gone/a/b/c", "x");
  folder.file("gone/d", "x");
  folder.folder("gone/empty");
  fs::create_directory_symlink(folder.path("kept"), folder.path("gone/link"));
  fs::create_symlink("nowhere", folder.path("gone/a/dangling"));
  ASSERT_EQ(::mkfifo(folder.path("gone/a/fifo").c_str(), 0600), 0);
  ASSERT_TRUE(files.removeItemAtURL(fileURL(folder.path("gone")), error)) << error->description();
  EXPECT_FALSE(fs::exists(folder.path("gone")));
  EXPECT_EQ(contentOf(kept), "kept");

  fs::create_directory_symlink(folder.path("kept"), folder.path("link"));
  ASSERT_TRUE(files.removeItemAtURL(fileURL(folder.path("link") + "/"), error));
  EXPECT_EQ(contentOf(kept), "kept");
}

TEST_F(FileManagerTest, AFolderIsGoneForEverybodyElseInOneStep) {
  for (int i = 0; i < 2000; ++i) folder.file("top/gone/" + std::to_string(i), "x");
  std::atomic<bool> started = false;
  std::atomic<bool> stop = false;
  std::atomic<bool> seenHalf = false;
  std::thread watcher([&] {
    while (!stop) {
      std::error_code ignored;
      // One look at the folder under its name: all of it, or nothing.
      const auto last = fs::status(folder.path("top/gone/1999"), ignored).type();
      const auto first = fs::status(folder.path("top/gone/0"), ignored).type();
      const auto top = fs::status(folder.path("top/gone"), ignored).type();
      if (top == fs::file_type::directory &&
          (first == fs::file_type::not_found || last == fs::file_type::not_found)) {
        seenHalf = true;
      }
      started = true;
    }
  });
  while (!started) std::this_thread::yield();
  EXPECT_TRUE(files.removeItemAtURL(fileURL(folder.path("top/gone")), error));
  stop = true;
  watcher.join();
  EXPECT_FALSE(seenHalf);
  EXPECT_EQ(entriesIn(folder.path("top")), 0U);
}

TEST_F(FileManagerTest, RemovingNothingIsAnError) {
  EXPECT_FALSE(files.removeItemAtURL(fileURL(folder.path("missing")), error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain, NSPOSIXErrorDomain);
  EXPECT_EQ(error->code, ENOENT);
  EXPECT_EQ(error->localizedDescription, folder.path("missing") + ": No such file or directory");
}

TEST_F(FileManagerTest, RefusesToRemoveWhatHasNoName) {
  for (const std::string& path : {std::string("/"), folder.path("."), folder.path("..")}) {
    std::optional<NSError> failure;
    EXPECT_FALSE(files.removeItemAtURL(fileURL(path), failure)) << path;
    EXPECT_TRUE(failure) << path;
  }
  EXPECT_TRUE(fs::exists(folder.path()));
}

TEST_F(FileManagerTest, RemovesDeepFoldersWithFewDescriptors) {
  EXPECT_EQ(inChild([&] {
              // Made step by step: the whole path is longer than any call takes.
              if (!testing::setLimit(RLIMIT_NOFILE, 24)) return false;
              fs::current_path(folder.folder("deep"));
              const std::string name(30, 'd');
              for (int i = 0; i < 300; ++i) {
                if (::mkdir(name.c_str(), 0700) != 0 || ::chdir(name.c_str()) != 0) return false;
              }
              fs::current_path("/");
              std::optional<NSError> failure;
              return files.removeItemAtURL(fileURL(folder.path("deep")), failure);
            }),
            0);
  EXPECT_FALSE(fs::exists(folder.path("deep")));
}

TEST_F(FileManagerTest, RemovesFoldersThatDenyTheirOwner) {
  fs::permissions(folder.path(), fs::perms::all);
  EXPECT_EQ(inChildAsOrdinaryUser([&] {
              fs::create_directories(folder.path("mine/a/b"));
              std::ofstream(folder.path("mine/a/b/file")) << "x";
              for (const char* path : {"mine/a/b", "mine/a", "mine"}) {
                fs::permissions(folder.path(path), fs::perms::none);
              }
              std::optional<NSError> failure;
              return files.removeItemAtURL(fileURL(folder.path("mine")), failure);
            }),
            0);
  EXPECT_FALSE(fs::exists(folder.path("mine")));
}

TEST_F(FileManagerTest, ReportsWhatItMayNotRemove) {
  folder.file("closed/file", "x");
  fs::permissions(folder.path(),
                  fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
  fs::permissions(folder.path("closed"), fs::perms::owner_read | fs::perms::owner_exec |
                                             fs::perms::others_read | fs::perms::others_exec);
  EXPECT_EQ(inChildAsOrdinaryUser([&] {
              std::optional<NSError> failure;
              return !files.removeItemAtURL(fileURL(folder.path("closed/file")), failure) &&
                     failure && failure->code == EACCES;
            }),
            0);
  fs::permissions(folder.path("closed"), fs::perms::owner_all);
}

TEST_F(FileManagerTest, WhatIsLeftOfAFolderKeepsItsName) {
  // A mount inside cannot be removed.
  constexpr int kNoMount = 3;
  folder.file("top/gone/a/file", "x");
  folder.file("top/gone/b/file", "x");
  const int status = inChild([&] {
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) ||
        ::mount("tmpfs", folder.path("top/gone/b").c_str(), "tmpfs", 0, "size=1m") != 0) {
      ::_exit(kNoMount);
    }
    if (files.removeItemAtURL(fileURL(folder.path("top/gone")), error) || error->code != EBUSY ||
        !error->localizedDescription.starts_with(folder.path("top/gone/b: "))) {
      return false;
    }
    if (entriesIn(folder.path("top")) != 1 || !fs::exists(folder.path("top/gone/b"))) return false;
    // The folder itself: it is emptied as far as that goes.
    std::ofstream(folder.path("top/gone/b/file")) << "x";
    return !files.removeItemAtURL(fileURL(folder.path("top/gone/b")), error) &&
           error->code == EBUSY && fs::is_empty(folder.path("top/gone/b"));
  });
  if (status == kNoMount) GTEST_SKIP() << "this user cannot mount a disk";
  EXPECT_EQ(status, 0);
}

// Creating.

TEST_F(FileManagerTest, CreatesPrivateFoldersWhateverTheMask) {
  fs::permissions(folder.path(), fs::perms::all);
  int number = 0;
  for (const mode_t mask : {0000U, 0022U, 0077U, 0777U}) {
    const std::string top = folder.path("top" + std::to_string(number++));
    EXPECT_EQ(inChildAsOrdinaryUser([&] {
                ::umask(mask);
                return files.createDirectoryAtURL(fileURL(top + "/a/b"), true, error);
              }),
              0);
    for (const std::string& path : {top, top + "/a", top + "/a/b"}) EXPECT_EQ(modeOf(path), 0700U);
  }
}

TEST_F(FileManagerTest, CreatesIntermediateFoldersOnlyWhereAsked) {
  EXPECT_FALSE(files.createDirectoryAtURL(fileURL(root + "/a"), false, error));
  EXPECT_EQ(error->code, ENOENT);
  error.reset();
  EXPECT_TRUE(files.createDirectoryAtURL(fileURL(root + "/a/b"), true, error));
  EXPECT_TRUE(files.createDirectoryAtURL(fileURL(root + "/a/b"), true, error));
  EXPECT_TRUE(files.createDirectoryAtURL(fileURL(root + "/a/c"), false, error));
  EXPECT_FALSE(error);
  EXPECT_FALSE(files.createDirectoryAtURL(fileURL(root + "/a/c"), false, error));
  EXPECT_EQ(error->code, EEXIST);
}

TEST_F(FileManagerTest, AFileInTheWayIsAnError) {
  folder.file("file", "x");
  EXPECT_FALSE(files.createDirectoryAtURL(fileURL(folder.path("file")), true, error));
  EXPECT_EQ(error->code, EEXIST);
  EXPECT_FALSE(files.createDirectoryAtURL(fileURL(folder.path("file/a/b")), true, error));
  EXPECT_EQ(error->code, ENOTDIR);
  EXPECT_EQ(contentOf(folder.path("file")), "x");
}

TEST_F(FileManagerTest, ASuccessLeavesTheErrorSlotAlone) {
  const NSError earlier{"domain", 7, "earlier"};
  error = earlier;
  const NSURL url = fileURL(folder.path("new"));
  EXPECT_TRUE(files.createDirectoryAtURL(url, true, error));
  EXPECT_TRUE(files.removeItemAtURL(url, error));
  EXPECT_TRUE(files.writeDataAtomically(bytes("x"), folder.path("a"), error));
  EXPECT_TRUE(files.copyItemAtPath(folder.path("a"), folder.path("b"), error));
  EXPECT_EQ(error, earlier);
}

// Looking.

TEST_F(FileManagerTest, TellsWhatIsThere) {
  folder.file("file", "x");
  folder.folder("sub");
  fs::create_symlink("nowhere", folder.path("dangling"));
  fs::create_directory_symlink("sub", folder.path("link"));
  struct Row {
    const char* name;
    bool exists;
    bool isFolder;
  };
  for (const Row& row : {Row{"file", true, false}, Row{"sub", true, true}, Row{"sub/", true, true},
                         Row{"dangling", true, false}, Row{"link", true, true},
                         Row{"missing", false, false}, Row{"file/x", false, false}}) {
    EXPECT_EQ(files.fileExistsAtPath(folder.path(row.name)), row.exists) << row.name;
    EXPECT_EQ(files.directoryExistsAtPath(folder.path(row.name)), row.isFolder) << row.name;
  }
  EXPECT_TRUE(files.directoryExistsAtPath("/"));
  for (const std::string& odd : {std::string(), std::string("/a\0b", 4), std::string(300, 'x'),
                                 "/" + std::string(100000, 'x')}) {
    EXPECT_FALSE(files.fileExistsAtPath(odd));
    EXPECT_FALSE(files.directoryExistsAtPath(odd));
  }
}

// Writing.

TEST_F(FileManagerTest, WritesPrivateFilesAndReplacesOldOnes) {
  const std::string path = folder.path("file");
  const mode_t before = ::umask(0777);
  const bool written = files.writeDataAtomically(bytes("first"), path, error);
  ::umask(before);
  ASSERT_TRUE(written) << error->description();
  EXPECT_EQ(modeOf(path), 0600U);
  EXPECT_TRUE(files.writeDataAtomically(bytes(""), path, error));
  EXPECT_EQ(contentOf(path), "");
  EXPECT_EQ(entriesIn(folder.path()), 1U);
}

TEST_F(FileManagerTest, ReplacesALinkInsteadOfWritingThroughIt) {
  const std::string target = folder.file("target", "kept");
  fs::create_symlink(target, folder.path("link"));
  EXPECT_TRUE(files.writeDataAtomically(bytes("new"), folder.path("link"), error));
  EXPECT_EQ(contentOf(target), "kept");
  EXPECT_EQ(contentOf(folder.path("link")), "new");
}

TEST_F(FileManagerTest, AFailedWriteLeavesNothing) {
  folder.file("folder/inside", "x");
  EXPECT_FALSE(files.writeDataAtomically(bytes("x"), folder.path("folder"), error));
  EXPECT_EQ(error->code, EISDIR);
  EXPECT_FALSE(files.writeDataAtomically(bytes("x"), folder.path("missing/file"), error));
  EXPECT_EQ(error->code, ENOENT);
  EXPECT_EQ(inChild([&] {
              ::signal(SIGXFSZ, SIG_IGN);
              if (!testing::setLimit(RLIMIT_FSIZE, 1000)) return false;
              std::optional<NSError> failure;
              return !files.writeDataAtomically(NSData(2000), folder.path("big"), failure) &&
                     failure && failure->code == EFBIG;
            }),
            0);
  EXPECT_EQ(entriesIn(folder.path()), 1U);
}

TEST_F(FileManagerTest, AReaderNeverSeesHalfAWrite) {
  const std::string path = folder.path("file");
  const NSData a(300'000, 'a');
  const NSData b(200'000, 'b');
  ASSERT_TRUE(files.writeDataAtomically(a, path, error));
  std::atomic<bool> done = false;
  std::thread writer([&] {
    std::optional<NSError> failure;
    for (int i = 0; i < 200; ++i) files.writeDataAtomically(i % 2 ? a : b, path, failure);
    done = true;
  });
  int reads = 0;
  while (!done || reads == 0) {
    const std::string seen = contentOf(path);
    ++reads;
    const bool whole = seen == std::string(300'000, 'a') || seen == std::string(200'000, 'b');
    EXPECT_TRUE(whole) << seen.size();
    if (!whole) break;
  }
  writer.join();
}

TEST_F(FileManagerTest, RefusesWhatIsNoFileURL) {
  for (const char* text : {"https://a.example/x", "mailto:a", "file:///a%00b", "file:"}) {
    const auto url = NSURL::URLWithString(text);
    ASSERT_TRUE(url) << text;
    std::optional<NSError> failure;
    EXPECT_FALSE(files.removeItemAtURL(*url, failure)) << text;
    EXPECT_TRUE(failure) << text;
    failure.reset();
    EXPECT_FALSE(files.createDirectoryAtURL(*url, true, failure)) << text;
    EXPECT_TRUE(failure) << text;
  }
}

}  // namespace
}  // namespace korvane
