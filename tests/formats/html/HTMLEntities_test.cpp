#include "formats/html/HTMLEntities.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

namespace korvane {
namespace {

TEST(HTMLEntities, NotNames) {
  for (const std::string_view name : {"", ";", "am", "ampx", "amp;", "&amp", "aMP", "#38", " lt",
                                      "zwnjx", "\xFF", "CounterClockwiseContourIntegrals"}) {
    EXPECT_EQ(findHTMLEntity(name), nullptr) << name;
  }
}

TEST(HTMLEntities, FirstLastAndOdd) {
  const auto check = [](std::string_view name, std::uint32_t first, std::uint32_t second,
                        bool bare) {
    const HTMLEntity* found = findHTMLEntity(name);
    ASSERT_NE(found, nullptr) << name;
    EXPECT_EQ(found->first, first) << name;
    EXPECT_EQ(found->second, second) << name;
    EXPECT_EQ(found->bare, bare) << name;
  };
  check("AElig", 0xC6, 0, true);
  check("zwnj", 0x200C, 0, false);
  check("amp", '&', 0, true);
  check("AMP", '&', 0, true);
  check("apos", '\'', 0, false);
  check("frac12", 0xBD, 0, true);
  check("there4", 0x2234, 0, false);
  check("fjlig", 'f', 'j', false);
  check("NotEqualTilde", 0x2242, 0x338, false);
  check("bne", '=', 0x20E5, false);
  check("zopf", 0x1D56B, 0, false);
  check("CounterClockwiseContourIntegral", 0x2233, 0, false);
}

// Python has the standard's table too.
TEST(HTMLEntities, AsManyAsTheStandardHas) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(
      popen("python3 -c 'import html.entities as e\n"
            "for n, t in e.html5.items(): print(n, *(ord(c) for c in t))' 2>&1",
            "r"),
      pclose);
  ASSERT_TRUE(pipe);
  std::string all;
  std::array<char, 4096> piece{};
  while (const std::size_t size = std::fread(piece.data(), 1, piece.size(), pipe.get())) {
    all.append(piece.data(), size);
  }
  std::istringstream lines(all);
  std::size_t whole = 0;
  std::size_t bare = 0;
  std::size_t longest = 0;
  std::size_t longestBare = 0;
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string name;
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    words >> name >> first;
    if (!(words >> second)) second = 0;
    const bool hasSemicolon = name.ends_with(';');
    if (hasSemicolon) name.pop_back();
    const HTMLEntity* found = findHTMLEntity(name);
    ASSERT_NE(found, nullptr) << line;
    EXPECT_EQ(found->first, first) << line;
    EXPECT_EQ(found->second, second) << line;
    EXPECT_TRUE(hasSemicolon || found->bare) << line;
    (hasSemicolon ? whole : bare) += 1;
    longest = std::max(longest, name.size());
    if (!hasSemicolon) longestBare = std::max(longestBare, name.size());
  }
  EXPECT_EQ(whole, 2125U) << all.substr(0, 500);
  EXPECT_EQ(bare, 106U);
  EXPECT_EQ(longest, kMaxHTMLEntityName);
  EXPECT_EQ(longestBare, kMaxBareHTMLEntityName);
}

}  // namespace
}  // namespace korvane
