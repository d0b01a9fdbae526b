#include "formats/html/CSSWords.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace korvane {
namespace {

using Pieces = std::vector<std::string_view>;

TEST(CSSWords, OuterSpace) {
  EXPECT_EQ(withoutOuterSpace(""), "");
  EXPECT_EQ(withoutOuterSpace(" \t\r\n\f"), "");
  EXPECT_EQ(withoutOuterSpace("\n a b\t"), "a b");
  EXPECT_EQ(withoutOuterSpace("\u00A0a"), "\u00A0a");  // a space of text
}

TEST(CSSWords, Words) {
  EXPECT_EQ(cssWords(""), Pieces());
  EXPECT_EQ(cssWords("  "), Pieces());
  EXPECT_EQ(cssWords("a\n\tb  c "), (Pieces{"a", "b", "c"}));
  EXPECT_EQ(cssWords("1px solid rgb(1, 2, 3)"), (Pieces{"1px", "solid", "rgb(1, 2, 3)"}));
  EXPECT_EQ(cssWords("f(g(1 2) 3) x"), (Pieces{"f(g(1 2) 3)", "x"}));
  EXPECT_EQ(cssWords("\"a b\" 'c d'"), (Pieces{"\"a b\"", "'c d'"}));
  EXPECT_EQ(cssWords("f(a b"), Pieces{"f(a b"});  // open to the end
  EXPECT_EQ(cssWords(") a"), (Pieces{")", "a"}));
  EXPECT_EQ(cssWords("a\\ b c"), (Pieces{"a\\ b", "c"}));
  EXPECT_EQ(cssWords(std::string(10'000, ' ') + "a").size(), 1U);
  std::string many;
  for (int i = 0; i < 1000; ++i) many += "a ";
  EXPECT_EQ(cssWords(many).size(), 64U);
}

TEST(CSSWords, List) {
  EXPECT_EQ(cssList(""), Pieces{""});
  EXPECT_EQ(cssList("a"), Pieces{"a"});
  EXPECT_EQ(cssList(" a , b,,c "), (Pieces{"a", "b", "", "c"}));
  EXPECT_EQ(cssList("rgb(1,2,3), \"x,y\""), (Pieces{"rgb(1,2,3)", "\"x,y\""}));
  EXPECT_EQ(cssList("a,"), (Pieces{"a", ""}));
  EXPECT_EQ(cssList(std::string(1000, ',')).size(), 64U);
}

TEST(CSSWords, WhereSomethingStands) {
  EXPECT_EQ(findOutside("", ";"), 0U);
  EXPECT_EQ(findOutside(";", ";"), 0U);
  EXPECT_EQ(findOutside("ab", ";"), 2U);
  EXPECT_EQ(findOutside("a(;)';'\";\"\\;b;c", ";"), 13U);
  EXPECT_EQ(findOutside("a');'b;", ";"), 6U);
  EXPECT_EQ(findOutside("a)b;", ";"), 3U);
  EXPECT_EQ(findOutside("'a\n;b", ";"), 3U);  // a quote ends with its line
  EXPECT_EQ(findOutside("a\\", ";"), 2U);
  EXPECT_EQ(findOutside("ab;}", "};"), 2U);
  EXPECT_EQ(findOutside("{}}", "}"), 1U);
  EXPECT_EQ(findOutside("{a}'}'b}c", "}", CSSBrackets::curly), 7U);
  EXPECT_EQ(findOutside("(}", "}", CSSBrackets::curly), 1U);
  EXPECT_EQ(findOutside("{{}", "}", CSSBrackets::curly), 3U);
}

TEST(CSSWords, Comments) {
  EXPECT_EQ(withoutComments(""), "");
  EXPECT_EQ(withoutComments("a/* b */c"), "a c");
  EXPECT_EQ(withoutComments("a/**/b/***/c/*/*/d"), "a b c d");
  EXPECT_EQ(withoutComments("a/*"), "a");
  EXPECT_EQ(withoutComments("a/"), "a/");
  EXPECT_EQ(withoutComments("'/*'\"*/\""), "'/*'\"*/\"");
  EXPECT_EQ(withoutComments("it's\n/* b */c"), "it's\n c");
  EXPECT_EQ(withoutComments("\\'/*b*/"), "\\' ");
  EXPECT_EQ(withoutComments("a\\"), "a\\");
}

}  // namespace
}  // namespace korvane
