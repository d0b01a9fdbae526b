#include "formats/links/LinkScanner.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace korvane::links {
namespace {

TEST(LinkScanner, CountsWhatItLooksAt) {
  LinkScanner nothing("");
  EXPECT_TRUE(nothing.links().empty());
  EXPECT_LE(nothing.steps(), 3u);
  LinkScanner prose("nothing that could be a link");
  EXPECT_TRUE(prose.links().empty());
  EXPECT_EQ(prose.steps(), 3 * 29u);  // for ":", "." and "@" every character once, and the end
}

TEST(LinkScanner, WhereALinkStands) {
  LinkScanner scanner("(é www.a.com, joe@a.org)");
  const auto links = scanner.links();
  ASSERT_EQ(links.size(), 2u);
  EXPECT_EQ(links[0].location, 4u);
  EXPECT_EQ(links[0].length, 9u);
  EXPECT_EQ(links[1].location, 15u);
  EXPECT_EQ(links[1].length, 9u);
}

// Any mixture of what links are made of: in order, apart, valid, never across markup, and in few
// steps.
TEST(LinkScanner, RandomTexts) {
  const std::vector<std::string_view> pieces = {
      "http://", "http://a.b/", "a.com",  "joe@a.org", "tel:1", "www.a.com", " ",   "http",
      "https",   "://",         ":",      "//",        "/",     "www.",      "a",   "b",
      "com",     "org",         ".",      "..",        "@",     "mailto",    "tel", "file",
      "+1",      "80",          "(",      ")",         "[",     "]",         "{",   "}",
      "'",       "\"",          "<",      ">",         "<br>",  " ",         "\n",  "?",
      "#",       "%",           "%41",    "&amp;",     "-",     "_",         "*",   "é",
      "漢",      "。",          "\u200b", "\xFF",      "[::1]", ","};
  std::mt19937 random(1);
  std::size_t found = 0;
  for (int round = 0; round < 20'000; ++round) {
    std::string text;
    const unsigned length = 1 + random() % 30;
    for (unsigned i = 0; i < length; ++i) text += pieces[random() % pieces.size()];
    LinkScanner scanner(text);
    std::size_t end = 0;
    for (const NSTextCheckingResult& link : scanner.links()) {
      ++found;
      ASSERT_GE(link.location, end) << text;
      ASSERT_GT(link.length, 0u) << text;
      end = link.location + link.length;
      ASSERT_LE(end, text.size()) << text;
      const std::string characters = text.substr(link.location, link.length);
      // Between angle brackets a link may be broken into lines.
      const bool inAngles = link.location > 0 && end < text.size() && text[end] == '>';
      ASSERT_EQ(characters.find_first_of(inAngles ? "<>\"" : "<>\" \n"), std::string::npos) << text;
      const auto again = NSURL::URLWithString(link.url.absoluteString());
      ASSERT_TRUE(again && again->scheme()) << text;
      ASSERT_EQ(again->absoluteString(), link.url.absoluteString()) << text;
    }
    ASSERT_LE(scanner.steps(), 64 * (text.size() + 1)) << text;
  }
  EXPECT_GT(found, 5'000u);  // the mixture does make links
}

}  // namespace
}  // namespace korvane::links
