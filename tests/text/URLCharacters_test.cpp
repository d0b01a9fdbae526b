#include "text/URLCharacters.h"

#include <gtest/gtest.h>

#include <utility>

namespace korvane::urlcharacters {
namespace {

TEST(URLCharacters, EveryByteHasItsClasses) {
  constexpr std::string_view kLegal =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~:/?#[]@!$&'()*+,;=%";
  for (int byte = 0; byte < 256; ++byte) {
    SCOPED_TRACE(byte);
    const char c = static_cast<char>(byte);
    EXPECT_EQ((classOf(c) & kIllegal) != 0, kLegal.find(c) == kLegal.npos);
    EXPECT_EQ((classOf(c) & kHexDigit) != 0, isHexDigit(c));
    EXPECT_EQ((classOf(c) & kSchemeCharacter) != 0,
              isAlphanumeric(c) || c == '+' || c == '-' || c == '.');
    EXPECT_EQ((classOf(c) & kPercent) != 0, c == '%');
    EXPECT_EQ((classOf(c) & kBracket) != 0, c == '[' || c == ']');
    EXPECT_EQ((classOf(c) & kHash) != 0, c == '#');
    EXPECT_EQ((classOf(c) & kQuestion) != 0, c == '?');
    EXPECT_EQ((classOf(c) & kSlash) != 0, c == '/');
  }
}

TEST(URLCharacters, WhatFollowsTheScheme) {
  const std::pair<std::string_view, std::size_t> rows[] = {
      {"", 0},     {":", 1},   {"a", 0},     {"a:", 2},           {"http://h", 5}, {"::", 1},
      {"1a:b", 0}, {"a b", 0}, {"a/b:c", 0}, {"x+y-z.1:rest", 8}, {"a%41:", 0},
  };
  for (const auto& [text, begin] : rows) EXPECT_EQ(findHierarchy(text), begin) << text;
}

TEST(URLCharacters, EscapedPaths) {
  EXPECT_EQ(encodedPath("/a b:c;d?e#f[g]%\xFF"), "/a%20b:c%3Bd%3Fe%23f%5Bg%5D%25%FF");
  EXPECT_EQ(encodedPath("a:b", kEscapedInFirstSegment), "a%3Ab");
  EXPECT_EQ(encodedPath(""), "");
}

TEST(URLCharacters, EndOfAPart) {
  constexpr std::size_t npos = std::string_view::npos;
  const std::pair<std::string_view, std::size_t> rows[] = {
      {"", 0},        {"abc", 3},    {"ab?c", 2},  {"?", 0},     {"a%2", npos},
      {"a%2g", npos}, {"a b", npos}, {"a%3F?", 4}, {"a%", npos}, {"\xC3\xA9", npos},
  };
  for (const auto& [text, end] : rows) EXPECT_EQ(findEnd(text, 0, kQuestion), end) << text;
  EXPECT_EQ(findEnd("a?b#c", 2, kHash | kQuestion), 3U);
}

}  // namespace
}  // namespace korvane::urlcharacters
