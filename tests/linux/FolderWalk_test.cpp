#include "linux/detail/FolderWalk.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>

#include "linux/detail/FileDescriptor.h"
#include "linux/detail/FileTree.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;

class FolderWalkTest : public ::testing::Test {
 protected:
  FileDescriptor open(const std::string& path) const {
    return FileDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }
  std::multiset<std::string> names() {
    std::multiset<std::string> seen;
    EXPECT_FALSE(walkFolder(open(folder.path()).get(), [&](int, const std::string& name) {
      seen.insert(name);
      return FolderWalk::goOn;
    }));
    return seen;
  }

  testing::TemporaryFolder folder;
};

TEST_F(FolderWalkTest, SeesEverythingOnce) {
  EXPECT_TRUE(names().empty());
  folder.file("a");
  folder.file("one/a");
  folder.file("one/two/b");
  folder.file("one/three/c");
  folder.folder("four");
  EXPECT_EQ(names(),
            (std::multiset<std::string>{"a", "a", "b", "c", "four", "one", "three", "two"}));
}

TEST_F(FolderWalkTest, StopsWhereItIsTold) {
  folder.file("one/two/three", "x");
  std::size_t visits = 0;
  EXPECT_TRUE(walkFolder(open(folder.path()).get(), [&](int place, const std::string& name) {
    ++visits;
    struct stat status = {};
    EXPECT_EQ(::fstatat(place, name.c_str(), &status, AT_SYMLINK_NOFOLLOW), 0) << name;
    return name == "three" ? FolderWalk::stop : FolderWalk::goOn;
  }));
  EXPECT_EQ(visits, 3U);
  EXPECT_FALSE(walkFolder(open(folder.path()).get(), [&](int, const std::string& name) {
    return name == "two" ? FolderWalk::goOnOutside : FolderWalk::goOn;
  }));
}

TEST_F(FolderWalkTest, PassesByWhatItMayNotEnter) {
  fs::permissions(folder.path(), fs::perms::all);
  folder.file("one/a");
  folder.file("elsewhere/b");
  fs::create_symlink(folder.path("elsewhere"), folder.path("one/link"));
  fs::create_symlink(".", folder.path("one/loop"));
  folder.file("closed/c");
  fs::permissions(folder.path("closed"), fs::perms::none);
  EXPECT_EQ(testing::inChildAsOrdinaryUser([&] {
              return names() == std::multiset<std::string>{"a",    "b",    "closed", "elsewhere",
                                                           "link", "loop", "one"};
            }),
            0);
  fs::permissions(folder.path("closed"), fs::perms::owner_all);
  EXPECT_FALSE(walkFolder(-1, [](int, const std::string&) { return FolderWalk::stop; }));
}

TEST_F(FolderWalkTest, TheDepthCostsNeitherDescriptorsNorPaths) {
  constexpr int kDepth = 400;
  const std::string name(30, 'd');
  EXPECT_EQ(testing::inChild([&] {
              if (!testing::setLimit(RLIMIT_NOFILE, 100)) return false;
              fs::current_path(folder.path());
              for (int i = 0; i < kDepth; ++i) {
                if (::mkdir(name.c_str(), 0700) != 0 || ::chdir(name.c_str()) != 0) return false;
              }
              if (::mkdir("bottom", 0700) != 0) return false;
              for (int i = 0; i < kDepth; ++i) {
                if (::mkdir("beside", 0700) != 0 || ::chdir("..") != 0) return false;
              }
              return names().size() == 2 * kDepth + 1U;
            }),
            0);
  removeEntry(open(folder.path()).get(), name, folder.path(name));
}

}  // namespace
}  // namespace korvane
