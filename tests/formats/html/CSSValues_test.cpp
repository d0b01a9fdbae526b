#include "formats/html/CSSValues.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace korvane {
namespace {

TEST(CSSValues, Refused) {
  for (const std::string_view value : {"",
                                       " ",
                                       "url(x)",
                                       "URL( x )",
                                       "u\\72l(x)",
                                       "\\",
                                       "expression(1)",
                                       "calc(1px + 2em)",
                                       "var(--x)",
                                       "attr(href)",
                                       "image-set(x)",
                                       "-1px",
                                       "a -2px",
                                       "-.5em",
                                       "1px;color:red",
                                       "a{b}",
                                       "a:b",
                                       "<b>",
                                       "@x",
                                       "a!important",
                                       "a=b",
                                       "*",
                                       "\"a",
                                       "'a\"b'",
                                       "\"a\\\"b\"",
                                       "\"a;b\"",
                                       "(a)",
                                       "f(",
                                       ")",
                                       "javascript:x",
                                       "[a]",
                                       "a_b",
                                       "$x",
                                       "~",
                                       "`",
                                       "|",
                                       "^",
                                       "&amp;",
                                       "\x01"}) {
    EXPECT_FALSE(harmlessValue(value)) << value;
  }
  EXPECT_TRUE(harmlessValue(std::string(200, 'a')));
  EXPECT_FALSE(harmlessValue(std::string(201, 'a')));
  // What is short as it is written and long as it comes out counts as it comes out.
  std::string colors;
  while (colors.size() + 10 < 200) colors += "rgb(1 2 3)";
  EXPECT_FALSE(harmlessValue(colors));
}

TEST(CSSValues, Kept) {
  const std::vector<std::pair<std::string_view, std::string_view>> cases = {
      {"a", "a"},
      {" a \n b ", "a b"},
      {"italic bold 14px / 1.5 Arial, sans-serif", "italic bold 14px / 1.5 Arial, sans-serif"},
      {"\"Segoe UI\"", "\"Segoe UI\""},
      {"'Segoe\tUI'", "'Segoe UI'"},
      {"-apple-system", "-apple-system"},
      {"1px solid #abc", "1px solid #abc"},
      {"+1px 50%", "+1px 50%"},
      {"游ゴシック", "游ゴシック"},
      {"rgb(1,2,3)", "rgb(1,2,3)"},
      {"RGBA(1, 2,  3, .5)", "RGBA(1, 2, 3, .5)"},
      {"hsl(1, 2%, 3%)", "hsl(1, 2%, 3%)"},
      {"rgb(1 2 3 / 50%)", "rgba(1, 2, 3, 0.5)"},
      {"1px solid rgb(1 2 3)", "1px solid rgb(1, 2, 3)"},
      {"1px solid oklch(0 0 0) x", "1px solid rgb(0, 0, 0) x"},
      {"rgb(1 2 3", "rgb(1, 2, 3)"},
      {"rgb(1, 2, 3", "rgb(1, 2, 3)"},
      {"color-mix(in srgb, rgb(1, 2, 3), rgb(1, 2, 3))", "rgb(1, 2, 3)"},
  };
  for (const auto& [value, kept] : cases) {
    EXPECT_EQ(harmlessValue(value), kept) << value;
    EXPECT_EQ(harmlessValue(kept), kept) << value;  // nothing more is done to it
  }
}

}  // namespace
}  // namespace korvane
