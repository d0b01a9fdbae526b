#include "extension/NSString+Drelk_Fs.h"

#include <gtest/gtest.h>

#include <set>

#include "platform/NSString.h"
#include "support/TestPlatform.h"

namespace korvane {
namespace {

/// Files that exist by name only.
class Names : public NSFileManager {
 public:
  std::set<std::string, std::less<>> existing;
  int probes = 0;
  /// What the folder is said to hold, where that is not the truth.
  std::optional<std::vector<std::string>> listing;

  std::optional<NSURL> containerURLForSecurityApplicationGroupIdentifier(
      std::string_view) override {
    return std::nullopt;
  }
  bool removeItemAtURL(const NSURL&, std::optional<NSError>&) override { return false; }
  bool createDirectoryAtURL(const NSURL&, bool, std::optional<NSError>&) override { return false; }
  bool copyItemAtPath(std::string_view, std::string_view, std::optional<NSError>&) override {
    return false;
  }
  bool fileExistsAtPath(std::string_view path) override {
    ++probes;
    return existing.find(path) != existing.end();
  }
  std::vector<std::string> contentsOfDirectoryAtPath(std::string_view path) override {
    if (listing) return *listing;
    std::vector<std::string> names;
    for (const std::string& file : existing) {
      if (file.starts_with(path)) names.push_back(file.substr(path.size() + 1));
    }
    return names;
  }
  bool directoryExistsAtPath(std::string_view) override { return false; }
  bool writeDataAtomically(const NSData&, std::string_view, std::optional<NSError>&) override {
    return false;
  }
};

struct GetGoodPathTest : ::testing::Test {
  GetGoodPathTest() {
    platform.services.fileManager = files;
    platform.install();
  }
  /// The name found next, which then exists.
  std::string next(std::string_view name) {
    const std::string path = Drelk_Fs::GetGoodPath(name, "/f");
    EXPECT_TRUE(path.starts_with("/f/")) << path;
    EXPECT_TRUE(files->existing.insert(path).second) << path;
    return path.substr(3);
  }

  testing::TestPlatform platform;
  std::shared_ptr<Names> files = std::make_shared<Names>();
};

TEST_F(GetGoodPathTest, CountsBeforeTheExtension) {
  struct Row {
    const char* name;
    std::vector<std::string> want;
  };
  const Row rows[] = {
      {"report.pdf", {"report.pdf", "report_1.pdf", "report_2.pdf", "report_3.pdf"}},
      {"notes", {"notes", "notes_1", "notes_2"}},
      {"a.tar.gz", {"a.tar.gz", "a.tar_1.gz", "a.tar_2.gz"}},
      {"image.png", {"image.png", "image_1.png"}},
      {"image_1.png", {"image_1_1.png"}},
      {".profile", {".profile", ".profile_1"}},
      {"..", {"..", ".._1"}},
      {"-rf", {"-rf", "-rf_1"}},
      {"a..b", {"a..b", "a._1.b"}},
      {"a..", {"a.", "a._1"}},
      {"..a", {"..a", "._1.a"}},
      {".a.b", {".a.b", ".a_1.b"}},
      {".", {".", "._1"}},
      {"...", {".._2"}},  // ".." and ".._1" are there from above
      {"", {"", "_1"}},
      {" ", {" ", " _1"}},
      {"a%lu.%@", {"a%lu.%@", "a%lu_1.%@"}},
      {"\xC3\xA9\n.x y", {"\xC3\xA9\n.x y", "\xC3\xA9\n_1.x y"}},
  };
  for (const Row& row : rows) {
    if (row.name == std::string_view("image_1.png")) {
      ASSERT_TRUE(files->existing.contains("/f/image_1.png"));
    }
    for (const std::string& want : row.want) EXPECT_EQ(next(row.name), want);
  }
}

TEST_F(GetGoodPathTest, AnEmptyExtensionIsDropped) {
  EXPECT_EQ(next("notes."), "notes");
  EXPECT_EQ(next("notes."), "notes_1");
}

TEST_F(GetGoodPathTest, TheFirstFreeNameWins) {
  files->existing = {"/f/a.b", "/f/a_1.b", "/f/a_3.b"};
  EXPECT_EQ(next("a.b"), "a_2.b");
  EXPECT_EQ(next("a.b"), "a_4.b");
  EXPECT_EQ(Drelk_Fs::GetGoodPath("a.b", "/g"), "/g/a.b");
  EXPECT_EQ(Drelk_Fs::GetGoodPath("a.b", ""), "/a.b");
}

TEST_F(GetGoodPathTest, CountsOnWithoutABound) {
  files->existing.insert("/f/n");
  for (int i = 1; i < 3000; ++i) files->existing.insert("/f/n_" + std::to_string(i));
  EXPECT_EQ(next("n"), "n_3000");
}

TEST_F(GetGoodPathTest, ManyFilesOfOneNameAreNotAskedForOneByOne) {
  files->existing.insert("/f/n.png");
  for (int i = 1; i < 3000; ++i) files->existing.insert("/f/n_" + std::to_string(i) + ".png");
  EXPECT_EQ(next("n.png"), "n_3000.png");
  EXPECT_LT(files->probes, 20);
}

TEST_F(GetGoodPathTest, AFolderThatCannotBeReadOrChangesIsAskedForEachName) {
  for (const std::vector<std::string>& told :
       {std::vector<std::string>(), std::vector<std::string>{"n", "n_1", "other"}}) {
    files->listing = told;
    files->existing = {"/f/n"};
    for (int i = 1; i < 50; ++i) files->existing.insert("/f/n_" + std::to_string(i));
    EXPECT_EQ(next("n"), "n_50");
  }
}

TEST_F(GetGoodPathTest, NamesStayWithin255Bytes) {
  const std::string e = "\xC3\xA9";  // two bytes
  std::string many;
  for (int i = 0; i < 200; ++i) many += e;
  EXPECT_EQ(next(std::string(255, 'n')), std::string(255, 'n'));
  EXPECT_EQ(next(std::string(255, 'n')), std::string(253, 'n') + "_1");
  EXPECT_EQ(next(std::string(300, 'm')), std::string(255, 'm'));
  EXPECT_EQ(next(std::string(300, 'm') + ".pdf"), std::string(251, 'm') + ".pdf");
  EXPECT_EQ(next(std::string(300, 'm') + ".pdf"), std::string(249, 'm') + "_1.pdf");
  // 255 - 4 is odd: the character that does not fit whole goes.
  EXPECT_EQ(next(many + ".pdf"), many.substr(0, 250) + ".pdf");
  EXPECT_EQ(next(many + ".pdf"), many.substr(0, 248) + "_1.pdf");
  EXPECT_EQ(next("a." + std::string(300, 'x')), "a." + std::string(253, 'x'));
  EXPECT_EQ(next("a." + std::string(300, 'x')), "a." + std::string(251, 'x') + "_1");
}

TEST_F(GetGoodPathTest, EveryNameFoundIsOneThatAFileCanHave) {
  const std::string pieces[] = {"a", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", ".", "x.y"};
  for (const std::string& piece : pieces) {
    for (std::size_t count : {1U, 60U, 84U, 85U, 86U, 127U, 128U, 254U, 255U, 256U, 400U}) {
      std::string name;
      for (std::size_t i = 0; i < count; ++i) name += piece;
      for (int i = 0; i < 12; ++i) {
        const std::string found = next(name);
        EXPECT_LE(found.size(), 255U);
        EXPECT_FALSE(found.empty());
        EXPECT_TRUE(isUTF8(found)) << found;
      }
    }
  }
}

}  // namespace
}  // namespace korvane
