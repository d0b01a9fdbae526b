#include "formats/html/HTMLLinks.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace korvane {
namespace {

TEST(HTMLLinks, Cleaned) {
  EXPECT_EQ(cleanedLink(""), "");
  EXPECT_EQ(cleanedLink(" \t\r\n\x01"), "");
  EXPECT_EQ(cleanedLink(" \x01 https://a.example/ \x1F "), "https://a.example/");
  EXPECT_EQ(cleanedLink("java\nscr\tipt\r:x"), "javascript:x");
  EXPECT_EQ(cleanedLink(std::string("a\0b", 3)), "ab");
  EXPECT_EQ(cleanedLink("a b"), "a b");
  EXPECT_EQ(cleanedLink("\u00A0a"), "\u00A0a");
}

TEST(HTMLLinks, Bases) {
  for (const std::string_view base : {"http://a", "https://a.example/", "HTTPS://A.EXAMPLE",
                                      "http://[::1]/x", "http://a:80/?q"}) {
    EXPECT_TRUE(isLinkBase(base)) << base;
  }
  for (const std::string_view base :
       {"", "http", "http:", "http://", "https://", "http:///x", "http://?x", "http://#x",
        "http://\\x", "ftp://a/", "file:///x", "javascript:x", "//a/", "a.example", "http:/a",
        "http://a/ b", "http://a/\n"}) {
    EXPECT_FALSE(isLinkBase(base)) << base;
  }
  EXPECT_TRUE(isLinkBase("http://" + std::string(4089, 'a')));
  EXPECT_FALSE(isLinkBase("http://" + std::string(4090, 'a')));
}

// What browsers make of them (RFC 3986, 5.4, "\" and spaces aside).
TEST(HTMLLinks, Resolved) {
  constexpr std::string_view kBase = "http://a/b/c/d;p?q#f";
  const std::vector<std::pair<std::string_view, std::string_view>> cases = {
      {"g:h", "g:h"},
      {"mailto:a@b.example", "mailto:a@b.example"},
      {"g", "http://a/b/c/g"},
      {"./g", "http://a/b/c/g"},
      {"g/", "http://a/b/c/g/"},
      {"/g", "http://a/g"},
      {"//g", "http://g"},
      {"//g/x y", "http://g/x%20y"},
      {"?y", "http://a/b/c/d;p?y"},
      {"g?y", "http://a/b/c/g?y"},
      {"#s", "http://a/b/c/d;p?q#s"},
      {"g#s", "http://a/b/c/g#s"},
      {"", "http://a/b/c/d;p?q"},
      {".", "http://a/b/c/"},
      {"..", "http://a/b/"},
      {"../..", "http://a/"},
      {"../../../g", "http://a/g"},
      {"/./g", "http://a/g"},
      {"/../g", "http://a/g"},
      {"g.", "http://a/b/c/g."},
      {"..g", "http://a/b/c/..g"},
      {"./g/.", "http://a/b/c/g/"},
      {"g/./h", "http://a/b/c/g/h"},
      {"g/../h", "http://a/b/c/h"},
      {"g?y/../x", "http://a/b/c/g?y/../x"},
      {"%2e%2E/g", "http://a/b/g"},
      {"\\g\\h", "http://a/g/h"},
      {"a b?c d", "http://a/b/c/a%20b?c%20d"},
      {"g//h", "http://a/b/c/g//h"},
      {"1:2", "http://a/b/c/1:2"},
      {"a/b:c", "http://a/b/c/a/b:c"},
  };
  for (const auto& [link, whole] : cases) {
    EXPECT_EQ(resolvedLink(link, kBase), whole) << link;
  }
  EXPECT_EQ(resolvedLink("g", "http://a"), "http://a/g");
  EXPECT_EQ(resolvedLink("?y", "http://a"), "http://a?y");
  EXPECT_EQ(resolvedLink("//", kBase), "");
  EXPECT_EQ(resolvedLink("///g", kBase), "");
}

TEST(HTMLLinks, WithoutABase) {
  for (const std::string_view base : {"", "ftp://a/", "file:///x", "x"}) {
    EXPECT_EQ(resolvedLink("g", base), "") << base;
    EXPECT_EQ(resolvedLink("", base), "") << base;
    EXPECT_EQ(resolvedLink("http://a/", base), "http://a/") << base;
  }
}

}  // namespace
}  // namespace korvane
