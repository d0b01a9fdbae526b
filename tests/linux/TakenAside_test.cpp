#include "linux/detail/TakenAside.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <set>

#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;

class TakenAsideTest : public ::testing::Test {
 protected:
  std::set<std::string> entries(const std::string& relative) const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder.path(relative))) {
      names.insert(entry.path().filename());
    }
    return names;
  }

  testing::TemporaryFolder folder;
  const std::string staging = folder.path("data/Share");
  std::optional<TakenAside> aside{std::in_place, staging};
};

TEST_F(TakenAsideTest, WhatLiesElsewhereStays) {
  const std::string file = folder.file("file", "x");
  folder.file("data/Share2/file", "x");
  folder.file("data/Accounts.plist", "x");
  aside->take({file, folder.path("missing")});  // there is no staging folder
  folder.file("data/Share/old", "x");
  aside->take({file, folder.path("missing"), folder.path("data/Share2/file"),
               folder.path("data/Share2"), folder.path("data"),
               folder.path("data/Share/../Accounts.plist"), folder.path("data/Share/missing")});
  EXPECT_EQ(aside->placeOf(file), file);
  EXPECT_EQ(aside->placeOf(folder.path("data")), folder.path("data"));
  EXPECT_EQ(entries("data"), (std::set<std::string>{"Accounts.plist", "Share", "Share2"}));
  EXPECT_EQ(entries("data/Share"), std::set<std::string>{"old"});
}

TEST_F(TakenAsideTest, StagedItemsAreMovedAndKeepTheirNames) {
  folder.file("data/Share/report.pdf", "report");
  folder.file("data/Share/album/sub/photo", "photo");
  folder.file("data/Share/album/other", "other");
  folder.file("data/Share/rest", "rest");
  fs::create_symlink(staging, folder.path("link"));
  fs::create_symlink(staging + "/report.pdf", folder.path("link to report"));
  const std::vector<std::string> paths = {
      staging + "/report.pdf",    staging + "/album/sub/photo",  staging + "/album",
      staging + "//./report.pdf", folder.path("link/album/sub"), folder.path("link to report")};
  aside->take(paths);
  EXPECT_EQ(entries("data/Share"), std::set<std::string>{"rest"});
  EXPECT_EQ(contentOf(aside->placeOf(paths[0])), "report");
  EXPECT_TRUE(aside->placeOf(paths[0]).ends_with("/report.pdf"));
  EXPECT_EQ(contentOf(aside->placeOf(paths[1])), "photo");
  EXPECT_EQ(contentOf(aside->placeOf(paths[2]) + "/other"), "other");
  EXPECT_EQ(aside->placeOf(paths[3]), aside->placeOf(paths[0]));
  EXPECT_EQ(contentOf(aside->placeOf(paths[4]) + "/photo"), "photo");
  EXPECT_EQ(contentOf(aside->placeOf(paths[5])), "report");
  aside.reset();
  EXPECT_EQ(entries("data"), std::set<std::string>{"Share"});
}

TEST_F(TakenAsideTest, TheStagingFolderItselfKeepsItsName) {
  folder.file("data/Share/a", "a");
  folder.file("data/Share/sub/b", "b");
  aside->take({staging, staging + "/a"});
  EXPECT_TRUE(entries("data/Share").empty());
  EXPECT_TRUE(aside->placeOf(staging).ends_with("/Share"));
  EXPECT_NE(aside->placeOf(staging), staging);
  EXPECT_EQ(contentOf(aside->placeOf(staging) + "/sub/b"), "b");
  EXPECT_EQ(contentOf(aside->placeOf(staging + "/a")), "a");
}

}  // namespace
}  // namespace korvane
