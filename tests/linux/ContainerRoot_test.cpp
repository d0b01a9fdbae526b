#include "linux/detail/ContainerRoot.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <utility>

#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

TEST(ContainerRoot, PathsAreNormalisedWithoutLookingAtLinks) {
  struct Case {
    const char *path, *expected;
  };
  for (const Case& c :
       {Case{"/a/b", "/a/b"}, Case{"/a//b/./c/", "/a/b/c"}, Case{"/a/../b", "/b"}, Case{"/..", "/"},
        Case{"/", "/"}, Case{"//", "/"}, Case{"/../../x/..", "/"}}) {
    EXPECT_EQ(normalisedPath(c.path), c.expected) << c.path;
  }
  EXPECT_EQ(normalisedPath("x"), std::filesystem::current_path() / "x");
}

TEST(ContainerRoot, RelativePathsAreOfWhatLiesInside) {
  const ContainerRoot root(std::optional<std::string>("/data/box/"));
  EXPECT_EQ(root.path(), "/data/box");
  EXPECT_EQ(root.relativePath("/data/box"), "");
  EXPECT_EQ(root.relativePath("/data//box/a/../b/"), "b");
  EXPECT_EQ(root.relativePath("/data/boxes/a"), std::nullopt);
  EXPECT_EQ(root.relativePath("/data"), std::nullopt);
  EXPECT_EQ(root.relativePath("/data/box/../other"), std::nullopt);
}

TEST(ContainerRoot, NoContainerHoldsNothing) {
  for (const auto& path : {std::optional<std::string>(), std::optional<std::string>(""),
                           std::optional<std::string>("relative/path")}) {
    const ContainerRoot root(path);
    EXPECT_FALSE(root.path());
    EXPECT_EQ(root.relativePath("/a"), std::nullopt);
  }
}

TEST(ContainerRoot, BothNamesOfAContainerReachedThroughALinkAreInside) {
  const testing::TemporaryFolder folder;
  const std::filesystem::path base(folder.path());
  std::filesystem::create_directories(base / "real" / "box");
  std::filesystem::create_directory_symlink(base / "real", base / "home");
  const ContainerRoot root(std::optional<std::string>((base / "home" / "box").string()));
  EXPECT_EQ(root.relativePath((base / "home" / "box" / "a").string()), "a");
  EXPECT_EQ(root.relativePath((base / "real" / "box" / "a").string()), "a");
}

TEST(ContainerRoot, LiesInTheUsersDataFolder) {
  const auto keep = [](const char* name) {
    const char* value = std::getenv(name);
    return std::pair{name, value ? std::optional<std::string>(value) : std::nullopt};
  };
  const auto before = {keep("XDG_DATA_HOME"), keep("HOME")};
  setenv("HOME", "/home/ann", 1);
  setenv("XDG_DATA_HOME", "/ann/data", 1);
  EXPECT_EQ(ContainerRoot().path(), "/ann/data/Q7K4M2XW9P.korvane");
  for (const char* ignored : {"", "relative"}) {
    setenv("XDG_DATA_HOME", ignored, 1);
    EXPECT_EQ(ContainerRoot().path(), "/home/ann/.local/share/Q7K4M2XW9P.korvane");
  }
  for (const auto& [name, value] : before) {
    value ? setenv(name, value->c_str(), 1) : unsetenv(name);
  }
}

}  // namespace
}  // namespace korvane
