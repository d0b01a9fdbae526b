// Rules of the whole tree that no compiler checks: which folder may include which, where library
// headers may stand, and that every public header says and exports what it should.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const fs::path kRoot = KORVANE_SOURCE_DIR;

std::vector<fs::path> sources(const std::string& folder) {
  std::vector<fs::path> found;
  for (const auto& entry : fs::directory_iterator(kRoot / folder)) {
    const std::string extension = entry.path().extension();
    if (extension == ".h" || extension == ".cpp") found.push_back(entry.path());
  }
  EXPECT_FALSE(found.empty()) << folder;
  return found;
}

std::string contents(const fs::path& path) {
  std::ifstream file(path);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  EXPECT_FALSE(text.empty()) << path;
  return text;
}

struct Include {
  bool quoted;
  std::string name;
};

std::vector<Include> includes(const fs::path& path) {
  static const std::regex pattern(R"re(^\s*#\s*include\s*([<"])([^>"]+)[>"])re");
  std::vector<Include> found;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    std::smatch match;
    if (std::regex_search(line, match, pattern)) found.push_back({match[1] == "\"", match[2]});
  }
  return found;
}

// The C++ headers that the system's folders use; a header of the C library or of any other library
// is not among them.
const std::set<std::string> kStandardHeaders = {"algorithm",     "array",
                                                "atomic",        "bit",
                                                "charconv",      "chrono",
                                                "compare",       "concepts",
                                                "cctype",        "cerrno",
                                                "cmath",         "condition_variable",
                                                "cstddef",       "cstdint",
                                                "cstdio",        "cstdlib",
                                                "cstring",       "deque",
                                                "exception",     "filesystem",
                                                "functional",    "initializer_list",
                                                "iterator",      "limits",
                                                "list",          "map",
                                                "memory",        "mutex",
                                                "new",           "numeric",
                                                "optional",      "queue",
                                                "set",           "shared_mutex",
                                                "span",          "stdexcept",
                                                "string",        "string_view",
                                                "system_error",  "thread",
                                                "tuple",         "type_traits",
                                                "unordered_map", "unordered_set",
                                                "utility",       "variant",
                                                "vector"};

// Instruction-set headers of the compiler, for fast paths that have a portable form too.
const std::set<std::string> kCompilerHeaders = {"immintrin.h"};

// Which folders a folder's files may include, itself aside.
const std::map<std::string, std::set<std::string>> kArrows = {
    {"platform", {}},
    {"urlutils", {"platform"}},
    {"model", {"platform", "urlutils"}},
    {"extension", {"platform", "urlutils", "model"}},
    {"share", {"platform", "urlutils", "model", "extension"}},
    {"platform/linux", {"platform"}},
    {"host", {"platform", "urlutils", "model", "extension", "share", "platform/linux"}},
};

std::string folderOf(const std::string& include) { return fs::path(include).parent_path(); }

TEST(House, IncludesPointOneWay) {
  for (const auto& [folder, allowed] : kArrows) {
    for (const fs::path& file : sources(folder)) {
      for (const Include& include : includes(file)) {
        if (!include.quoted) continue;
        const std::string target = folderOf(include.name);
        EXPECT_TRUE(target == folder || allowed.contains(target))
            << file << " includes " << include.name;
        EXPECT_TRUE(fs::exists(kRoot / include.name)) << file << " includes " << include.name;
      }
    }
  }
}

TEST(House, TheSystemRestsOnTheStandardLibraryAlone) {
  for (const std::string folder : {"platform", "urlutils", "model", "extension", "share"}) {
    for (const fs::path& file : sources(folder)) {
      for (const Include& include : includes(file)) {
        if (include.quoted) continue;
        EXPECT_TRUE(kStandardHeaders.contains(include.name) ||
                    kCompilerHeaders.contains(include.name))
            << file << " includes <" << include.name << ">";
      }
    }
  }
}

TEST(House, InstalledHeadersOfTheAdaptersShowNoLibrary) {
  for (const char* name : {"platform/linux/LinuxPlatform.h", "platform/linux/CairoSurface.h"}) {
    for (const Include& include : includes(kRoot / name)) {
      EXPECT_TRUE(include.quoted ? folderOf(include.name) == "platform"
                                 : kStandardHeaders.contains(include.name))
          << name << " includes " << include.name;
    }
  }
}

TEST(House, EverySourceIncludesItsOwnHeaderFirst) {
  for (const auto& [folder, allowed] : kArrows) {
    for (const fs::path& file : sources(folder)) {
      if (file.extension() != ".cpp") continue;
      fs::path header = file;
      header.replace_extension(".h");
      if (!fs::exists(header)) continue;
      const auto found = includes(file);
      ASSERT_FALSE(found.empty()) << file;
      EXPECT_EQ(found.front().name, fs::relative(header, kRoot).string()) << file;
    }
  }
}

// A test of a header includes it first, which also shows that the header stands alone.
std::set<std::string> headersTestedFirst() {
  std::set<std::string> found;
  for (const auto& entry : fs::recursive_directory_iterator(kRoot / "tests")) {
    if (entry.path().extension() != ".cpp") continue;
    for (const Include& include : includes(entry.path())) {
      if (!include.quoted) continue;
      found.insert(include.name);
      break;
    }
  }
  return found;
}

TEST(House, EveryHeaderWithCodeBehindItHasATest) {
  const std::set<std::string> tested = headersTestedFirst();
  for (const auto& [folder, allowed] : kArrows) {
    for (const fs::path& file : sources(folder)) {
      fs::path code = file;
      if (file.extension() != ".h" || !fs::exists(code.replace_extension(".cpp"))) continue;
      // What is not offered to others is tested through what uses it.
      if (folder != "host" && contents(file).find("KORVANE_EXPORT") == std::string::npos) continue;
      const std::string name = fs::relative(file, kRoot);
      EXPECT_TRUE(tested.contains(name)) << "no test file includes " << name << " first";
    }
  }
}

TEST(House, FilesEndInOneLineBreakAndHoldNoTabs) {
  for (const auto& [folder, allowed] : kArrows) {
    for (const fs::path& file : sources(folder)) {
      const std::string text = contents(file);
      EXPECT_TRUE(text.ends_with('\n') && !text.ends_with("\n\n")) << file;
      EXPECT_EQ(text.find('\t'), std::string::npos) << file;
    }
  }
}

}  // namespace
