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

#include "support/Places.h"

namespace {

namespace fs = std::filesystem;

const fs::path kRoot = KORVANE_SOURCE_DIR;

std::vector<fs::path> sources(const std::string& folder) {
  std::vector<fs::path> found;
  for (const auto& entry : fs::recursive_directory_iterator(kRoot / folder)) {
    const std::string extension = entry.path().extension();
    if (extension == ".h" || extension == ".cpp" || extension == ".c")
      found.push_back(entry.path());
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

// Which rooms a room's files may include, itself aside. A room is a folder with all below it.
const std::map<std::string, std::set<std::string>> kArrows = {
    {"text", {}},
    {"platform", {"text"}},
    {"formats", {"text", "platform"}},
    {"urlutils", {"text", "platform"}},
    {"model", {"text", "platform", "urlutils"}},
    {"extension", {"text", "platform", "urlutils", "model"}},
    {"share", {"text", "platform", "urlutils", "model", "extension"}},
    {"linux", {"text", "platform", "formats"}},
    {"decoder", {"text", "platform", "formats"}},
    {"entry", {}},  // runs the program and links nothing of it
    {"host", {"text", "platform", "formats", "urlutils", "model", "extension", "share", "linux"}},
    {"compose",
     {"text", "platform", "formats", "urlutils", "model", "extension", "share", "linux", "host"}},
    {"programs",
     {"text", "platform", "formats", "urlutils", "model", "extension", "share", "linux", "decoder",
      "host", "compose"}},
};

// The rooms whose libraries are installed: the headers of the folder itself are public.
const std::vector<std::string> kPublicRooms = {"platform",  "urlutils", "model",
                                               "extension", "share",    "linux"};

// Headers that stand where programs written for version 1.0 look for them, and include those of
// today.
const std::set<std::string> kOldPaths = {"platform/linux/CairoSurface.h",
                                         "platform/linux/LinuxPlatform.h"};

std::string roomOf(const std::string& include) { return *fs::path(include).begin(); }

bool isPrivate(const fs::path& header) {
  return header.string().find("/detail/") != std::string::npos;
}

// The header and the source of one name, as the root of the tree sees them.
std::string unitOf(const fs::path& file) {
  return fs::path(fs::relative(file, kRoot)).replace_extension();
}

TEST(House, IncludesPointOneWay) {
  for (const auto& [folder, allowed] : kArrows) {
    for (const fs::path& file : sources(folder)) {
      if (kOldPaths.contains(fs::relative(file, kRoot))) continue;
      for (const Include& include : includes(file)) {
        if (!include.quoted) continue;
        const std::string target = roomOf(include.name);
        EXPECT_TRUE(target == folder || allowed.contains(target))
            << file << " includes " << include.name;
        EXPECT_TRUE(fs::exists(kRoot / include.name)) << file << " includes " << include.name;
      }
    }
  }
}

// A header and its source are one unit; within a room no unit includes itself by way of others.
TEST(House, IncludesInsideARoomPointOneWay) {
  for (const auto& [room, allowed] : kArrows) {
    std::map<std::string, std::set<std::string>> uses;
    for (const fs::path& file : sources(room)) {
      for (const Include& include : includes(file)) {
        if (include.quoted && roomOf(include.name) == room) {
          uses[unitOf(file)].insert(unitOf(kRoot / include.name));
        }
      }
    }
    // Units that use nothing left are taken out until none is; what remains goes in circles.
    for (bool found = true; found;) {
      found = false;
      for (auto unit = uses.begin(); unit != uses.end();) {
        std::erase_if(unit->second, [&](const std::string& used) {
          return used == unit->first || !uses.contains(used);
        });
        found |= unit->second.empty();
        unit = unit->second.empty() ? uses.erase(unit) : std::next(unit);
      }
    }
    for (const auto& [unit, used] : uses) {
      ADD_FAILURE() << unit << " is on, or leads to, a circle of includes, by way of "
                    << *used.begin();
    }
  }
}

TEST(House, TheSystemRestsOnTheStandardLibraryAlone) {
  for (const std::string room : {"text", "platform", "urlutils", "model", "extension", "share"}) {
    for (const fs::path& file : sources(room)) {
      for (const Include& include : includes(file)) {
        if (include.quoted) continue;
        EXPECT_TRUE(kStandardHeaders.contains(include.name) ||
                    kCompilerHeaders.contains(include.name))
            << file << " includes <" << include.name << ">";
      }
    }
  }
}

// What another operating system would use as it stands.
TEST(House, FormatsKnowNoOperatingSystem) {
  static const std::regex kSystems(R"(^(sys|linux|gio|glib|gdk-pixbuf|cairo)/.*|.*(unistd|fcntl|)"
                                   R"(dirent|poll|pwd|signal|syslog|glib|cairo)\.h$)");
  for (const fs::path& file : sources("formats")) {
    for (const Include& include : includes(file)) {
      EXPECT_TRUE(include.quoted || !std::regex_match(include.name, kSystems))
          << file << " includes <" << include.name << ">";
    }
  }
}

// A public header includes public headers and the standard library, nothing else.
TEST(House, PublicHeadersRestOnPublicHeaders) {
  for (const std::string& room : kPublicRooms) {
    for (const fs::path& file : sources(room)) {
      if (file.extension() != ".h" || isPrivate(file)) continue;
      for (const Include& include : includes(file)) {
        const std::string target = roomOf(include.name);
        const bool isPublic =
            include.quoted ? target != "text" && target != "formats" && !isPrivate(include.name)
                           : kStandardHeaders.contains(include.name);
        EXPECT_TRUE(isPublic) << file << " includes " << include.name;
      }
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

TEST(House, EveryHeaderThatOffersSomethingHasATest) {
  const std::set<std::string> tested = headersTestedFirst();
  for (const auto& [folder, allowed] : kArrows) {
    for (const fs::path& file : sources(folder)) {
      if (file.extension() != ".h") continue;
      const std::string name = fs::relative(file, kRoot);
      fs::path code = file;
      const bool hasCode = fs::exists(code.replace_extension(".cpp"));
      // In text/ a header alone offers something too.
      if (folder == "text" ? name == "text/SSSE3.h" : !hasCode) continue;
      // What is not offered to others is tested through what uses it.
      if (folder != "host" && folder != "text" &&
          contents(file).find("KORVANE_EXPORT") == std::string::npos) {
        continue;
      }
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
