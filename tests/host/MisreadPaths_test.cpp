#include "host/MisreadPaths.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using testing::TemporaryFolder;

struct Case {
  const char* what;
  std::vector<std::string> files;  // that are there
  std::string given;
  std::string found;  // "" where it stays as given
  bool isAmbiguous = false;
};

class MisreadPaths : public ::testing::TestWithParam<Case> {};

TEST_P(MisreadPaths, AreFound) {
  const TemporaryFolder folder;
  const std::string root = folder.path() + "/";
  for (const std::string& file : GetParam().files) {
    fs::create_directories(fs::path(root + file).parent_path());
    std::ofstream(root + file) << "x";
  }
  const std::string given = root + GetParam().given;
  const MisreadPath result = findMisreadPath(given);
  const std::string& found = GetParam().found;
  EXPECT_EQ(result.path, found.empty() ? given : root + found) << GetParam().what;
  EXPECT_EQ(result.isAmbiguous, GetParam().isAmbiguous) << GetParam().what;
}

INSTANTIATE_TEST_SUITE_P(
    All, MisreadPaths,
    ::testing::Values(
        Case{"there as it stands", {"caf\uFFFD.txt", "caf\xe9.txt"}, "caf\uFFFD.txt", ""},
        Case{"no doubt", {"caf\xe9.txt"}, "cafe.txt", ""},
        Case{"nothing there", {}, "caf\uFFFD.txt", ""},
        Case{"one that reads so", {"caf\xe9.txt", "cafe.txt"}, "caf\uFFFD.txt", "caf\xe9.txt"},
        Case{"two that read so", {"caf\xe9.txt", "caf\xe8.txt"}, "caf\uFFFD.txt", "", true},
        Case{"valid characters are themselves", {"caf\u00e9.txt"}, "caf\uFFFD.txt", ""},
        Case{"as many as stand there", {"a\xe9\xe9", "a\xe9"}, "a\uFFFD", "a\xe9"},
        Case{"two in a row", {"a\xe9\xe9", "a\xe9"}, "a\uFFFD\uFFFD", "a\xe9\xe9"},
        Case{"unfinished, a mark for each byte", {"a\xe2\x82z"}, "a\uFFFD\uFFFDz", "a\xe2\x82z"},
        Case{"unfinished, one mark", {"a\xe2\x82z"}, "a\uFFFDz", "a\xe2\x82z"},
        Case{"a real mark beside a byte", {"\uFFFD\xe9"}, "\uFFFD\uFFFD", "\uFFFD\xe9"},
        Case{"at both ends", {"\xe9z\xe9"}, "\uFFFDz\uFFFD", "\xe9z\xe9"},
        Case{"a folder", {"d\xe9/file"}, "d\uFFFD/file", "d\xe9/file"},
        Case{"a folder and a file", {"d\xe9/f\xe8", "e/f\xe8"}, "d\uFFFD/f\uFFFD", "d\xe9/f\xe8"},
        Case{"the folder that holds the file",
             {"d\xe9/one", "d\xe8/two"},
             "d\uFFFD/two",
             "d\xe8/two"},
        Case{"two folders that hold it", {"d\xe9/f", "d\xe8/f"}, "d\uFFFD/f", "", true},
        Case{"a folder that is one", {"d\xe9/f"}, "d\uFFFD", "d\xe9"},
        Case{"a file where a folder should be", {"d\xe9"}, "d\uFFFD/f", ""},
        Case{"a folder of that very name, without the file",
             {"d\uFFFD/one", "d\xe9/two"},
             "d\uFFFD/two",
             "d\xe9/two"},
        Case{"line breaks and blanks", {"a \n\xe9"}, "a \n\uFFFD", "a \n\xe9"},
        Case{"slashes at the end and in between",
             {"d\xe9/f\xe9"},
             "d\uFFFD//f\uFFFD/",
             "d\xe9/f\xe9"}));

TEST(MisreadPathsInCrowds, ManyThatReadAlikeAreNotGuessed) {
  const TemporaryFolder folder;
  for (int i = 0; i < 120; ++i) {
    const std::string name{'a', static_cast<char>(0x80 + i)};
    std::ofstream(folder.path() + "/" + name) << "x";
  }
  EXPECT_TRUE(findMisreadPath(folder.path() + "/a\uFFFD").isAmbiguous);
}

TEST(MisreadPathsInCrowds, ALinkThatLeadsNowhereIsThere) {
  const TemporaryFolder folder;
  fs::create_symlink("nowhere", folder.path() + "/l\xe9");
  EXPECT_EQ(findMisreadPath(folder.path() + "/l\uFFFD").path, folder.path() + "/l\xe9");
}

}  // namespace
}  // namespace korvane
