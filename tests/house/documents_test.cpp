// What the documents show is what the examples run: every C++ block stands in an example, and every
// file that a document links is there.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "support/Places.h"

namespace {

namespace fs = std::filesystem;

const fs::path kRoot = KORVANE_SOURCE_DIR;

std::string contents(const fs::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// A text without its white space: indentation and line breaks do not count.
std::string squeezed(const std::string& text) {
  std::string result;
  for (char c : text) {
    if (c != ' ' && c != '\n') result += c;
  }
  return result;
}

std::vector<fs::path> documents() {
  std::vector<fs::path> found{kRoot / "README.md"};
  for (const auto& entry : fs::directory_iterator(kRoot / "docs")) {
    if (entry.path().extension() == ".md") found.push_back(entry.path());
  }
  return found;
}

TEST(Documents, CodeStandsInAnExample) {
  std::string examples;
  for (const auto& entry : fs::directory_iterator(kRoot / "examples")) {
    if (!entry.is_regular_file()) continue;
    examples += squeezed(contents(entry.path()));
  }
  ASSERT_FALSE(examples.empty());
  int blocks = 0;
  for (const fs::path& document : documents()) {
    std::istringstream lines(contents(document));
    std::string block;
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
      if (!inside && line == "```cpp") {
        inside = true;
        block.clear();
      } else if (inside && line == "```") {
        inside = false;
        ++blocks;
        EXPECT_NE(examples.find(squeezed(block)), std::string::npos)
            << document << " shows what no example runs:\n"
            << block;
      } else if (inside) {
        block += line + '\n';
      }
    }
  }
  EXPECT_GE(blocks, 5);
}

TEST(Documents, LinksLeadToFiles) {
  static const std::regex link(R"(\]\(([\w./+-]+)(#[^)]*)?\))");
  int links = 0;
  for (const fs::path& document : documents()) {
    const std::string text = contents(document);
    for (std::sregex_iterator at(text.begin(), text.end(), link), end; at != end; ++at) {
      ++links;
      EXPECT_TRUE(fs::exists(document.parent_path() / (*at)[1].str()))
          << document << " links " << (*at)[1];
    }
  }
  EXPECT_GE(links, 5);
}

// The page that leads through the code names only what is there.
TEST(Documents, NamesOfThePageOfOneShareAreInTheSources) {
  std::string sources;
  for (const char* room : {"programs", "host", "share", "extension", "model", "linux", "platform",
                           "formats", "entry"}) {
    for (const auto& entry : fs::recursive_directory_iterator(kRoot / room)) {
      if (entry.is_regular_file()) sources += contents(entry.path()) + '\n';
    }
  }
  static const std::regex code("`([^`\\n]+)`");
  static const std::regex name(R"([A-Za-z]\w+)");
  const std::string text = contents(kRoot / "docs/share.md");
  int names = 0;
  for (std::sregex_iterator at(text.begin(), text.end(), code), end; at != end; ++at) {
    const std::string word = (*at)[1];
    if (word.find('/') != std::string::npos && word.find(' ') == std::string::npos &&
        word.find(':') == std::string::npos) {
      EXPECT_TRUE(fs::exists(kRoot / word)) << word;
    } else if (std::regex_match(word, name)) {
      EXPECT_TRUE(std::regex_search(sources, std::regex("\\b" + word + "\\b"))) << word;
    } else {
      continue;
    }
    ++names;
  }
  EXPECT_GE(names, 30);
}

}  // namespace
