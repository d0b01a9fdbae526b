#include "host/Paths.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

class Paths : public ::testing::Test {
 protected:
  Paths() { std::filesystem::current_path(folder.folder("here")); }
  ~Paths() override { std::filesystem::current_path("/"); }
  testing::TemporaryFolder folder;
};

TEST_F(Paths, AbsolutePathsStay) {
  EXPECT_EQ(absolutePath("/a/../b//c"), "/a/../b//c");
  EXPECT_EQ(absolutePath("/"), "/");
}

TEST_F(Paths, RelativePathsGoBehindTheWorkingDirectory) {
  const std::string here = folder.path("here");
  EXPECT_EQ(absolutePath("a"), here + "/a");
  EXPECT_EQ(absolutePath("-a"), here + "/-a");
  EXPECT_EQ(absolutePath("./a"), here + "/./a");
  EXPECT_EQ(absolutePath("../a"), here + "/../a");
  EXPECT_EQ(absolutePath("a/"), here + "/a/");
  EXPECT_EQ(absolutePath("~/a"), here + "/~/a");
  EXPECT_EQ(absolutePath("\xFF"), here + "/\xFF");
  std::filesystem::current_path("/");
  EXPECT_EQ(absolutePath("a"), "/a");
}

TEST_F(Paths, FoldersGetTheirOwnName) {
  EXPECT_EQ(absolutePath("."), folder.path("here"));
  EXPECT_EQ(absolutePath("./"), folder.path("here"));
  EXPECT_EQ(absolutePath(".."), folder.path());
  EXPECT_EQ(absolutePath(folder.path("here/..")), folder.path());
  EXPECT_EQ(absolutePath("none/.."), folder.path("here/none/.."));
  EXPECT_EQ(absolutePath(".hidden"), folder.path("here/.hidden"));
  EXPECT_EQ(absolutePath("..."), folder.path("here/..."));
}

TEST_F(Paths, WithoutAWorkingDirectoryTheyStayRelative) {
  std::filesystem::current_path(folder.folder("gone"));
  std::filesystem::remove(folder.path("gone"));
  EXPECT_EQ(absolutePath("a"), "a");
}

}  // namespace
}  // namespace korvane
