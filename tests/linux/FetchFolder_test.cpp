#include "linux/detail/FetchFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "linux/LinuxPlatform.h"
#include "linux/detail/FileTree.h"
#include "linux/detail/UnfinishedNames.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;

class FetchFolderTest : public ::testing::Test {
 protected:
  FetchFolderTest() { Platform::install(linuxPlatform({.container = place.path("container")})); }
  ~FetchFolderTest() override { Platform::install(Platform()); }

  testing::TemporaryFolder place;
};

TEST_F(FetchFolderTest, IsPrivateAndGoesWithAllItHolds) {
  const std::string parent = place.path("not/yet/there");
  {
    const FetchFolder folder(parent);
    EXPECT_EQ(fs::path(folder.path()).parent_path(), parent);
    EXPECT_TRUE(isUnfinishedName(fs::path(folder.path()).filename().string()));
    struct stat status = {};
    ASSERT_EQ(::stat(folder.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700U);
    fs::create_directories(folder.path() + "/1/sub");
    std::ofstream(folder.path() + "/1/sub/x") << "x";
    const FetchFolder other(parent);
    EXPECT_NE(folder.path(), other.path());
  }
  EXPECT_TRUE(fs::is_empty(parent));
}

TEST_F(FetchFolderTest, AllGoAtOnce) {
  const FetchFolder one(place.path());
  const FetchFolder two(place.path());
  std::ofstream(one.path() + "/x") << "x";
  FetchFolder::removeAll();
  EXPECT_TRUE(fs::is_empty(place.path()));
}

TEST_F(FetchFolderTest, OneThatIsInUseIsNotTakenForLeftOver) {
  const FetchFolder folder(place.path());
  EXPECT_EQ(testing::inChild([&] {
              removeAbandonedFolders(place.path());
              return true;
            }),
            0);
  EXPECT_TRUE(fs::exists(folder.path()));
}

TEST_F(FetchFolderTest, OneOfAKilledProcessIsLeftOver) {
  EXPECT_EQ(testing::inChild([&] {
              const FetchFolder folder(place.path());
              std::ofstream(folder.path() + "/x") << "x";
              ::raise(SIGKILL);
              return true;
            }),
            -SIGKILL);
  ASSERT_FALSE(fs::is_empty(place.path()));
  removeAbandonedFolders(place.path());
  EXPECT_TRUE(fs::is_empty(place.path()));
}

TEST_F(FetchFolderTest, WhereNoneCanBeMadeThatIsTold) {
  EXPECT_THROW(FetchFolder(place.file("file")), FileFailure);
  EXPECT_THROW(FetchFolder("/proc/none"), FileFailure);
}

}  // namespace
}  // namespace korvane
