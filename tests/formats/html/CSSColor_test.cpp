#include "formats/html/CSSColor.h"

#include <gtest/gtest.h>

#include <clocale>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvane {
namespace {

// As a mail client gets it, "none" where the text is no colour.
std::string shown(std::string_view text) {
  const std::optional<CSSColor> color = readCSSColor(text);
  return color ? color->text() : "none";
}

struct Row {
  std::string_view text;
  std::string_view color;
};

void check(const std::vector<Row>& rows) {
  for (const Row& row : rows) EXPECT_EQ(shown(row.text), row.color) << row.text;
}

TEST(CSSColor, WhatIsNone) {
  for (const std::string_view text : {"",
                                      " ",
                                      "#",
                                      "#1",
                                      "#12",
                                      "#12345",
                                      "#1234567",
                                      "#123456789",
                                      "#ggg",
                                      "123",
                                      "nocolor",
                                      "redd",
                                      "re",
                                      "none",
                                      "auto",
                                      "currentcolor",
                                      "inherit",
                                      "var(--x)",
                                      "rgb",
                                      "rgb(",
                                      "rgb()",
                                      "rgb(1)",
                                      "rgb(1,2)",
                                      "rgb(1,2,3,4,5)",
                                      "rgb(a,b,c)",
                                      "rgb(1px 2 3)",
                                      "rgb(1 2 3",
                                      "xrgb(1 2 3)",
                                      "url(x)",
                                      "color()",
                                      "color(srgb)",
                                      "color(srgb 1 1)",
                                      "color(lab 1 1 1)",
                                      "color(nospace 1 1 1)",
                                      "hsl(x 1% 1%)",
                                      "hsl(1px 1% 1%)",
                                      "lab(1 2)",
                                      "color-mix()",
                                      "color-mix(red)",
                                      "color-mix(red, blue, lime)",
                                      "color-mix(in, red, blue)",
                                      "color-mix(in nospace, red, blue)",
                                      "color-mix(in srgb, red 0%, blue 0%)",
                                      "color-mix(in srgb, red 101%, blue)",
                                      "color-mix(in srgb, red lime, blue)",
                                      "light-dark(red)",
                                      "rgb(from red r g b)",
                                      "rgb(nan 0 0)",
                                      "rgb(1e999 0 0)"}) {
    EXPECT_EQ(shown(text), "none") << text;
  }
}

TEST(CSSColor, NamesAndDigits) {
  check({{"red", "rgb(255, 0, 0)"},
         {"ReD", "rgb(255, 0, 0)"},
         {"aliceblue", "rgb(240, 248, 255)"},
         {"yellowgreen", "rgb(154, 205, 50)"},
         {"transparent", "rgba(0, 0, 0, 0)"},
         {"#abc", "rgb(170, 187, 204)"},
         {"#ABC8", "rgba(170, 187, 204, 0.533)"},
         {"#012345", "rgb(1, 35, 69)"},
         {"#01234580", "rgba(1, 35, 69, 0.502)"},
         {"#012345ff", "rgb(1, 35, 69)"}});
}

TEST(CSSColor, Functions) {
  check({{"rgb(1,2,3)", "rgb(1, 2, 3)"},
         {"RGB( 1 2 3 )", "rgb(1, 2, 3)"},
         {"rgb(1 2 3 / 50%)", "rgba(1, 2, 3, 0.5)"},
         {"rgba(1, 2, 3, .25)", "rgba(1, 2, 3, 0.25)"},
         {"rgb(10% 20% 100%)", "rgb(26, 51, 255)"},
         {"rgb(300, -20, 1e1)", "rgb(255, 0, 10)"},
         {"rgb(none 0 0 / none)", "rgba(0, 0, 0, 0)"},
         {"rgb(0 0 0 / 2)", "rgb(0, 0, 0)"},
         {"hsl(120 100% 25%)", "rgb(0, 128, 0)"},
         {"hsl(480deg 100% 25%)", "rgb(0, 128, 0)"},
         {"hsl(-240 100 25)", "rgb(0, 128, 0)"},
         {"hsl(0.25turn 100% 50%)", "rgb(128, 255, 0)"},
         {"hsl(100grad 100% 50%)", "rgb(128, 255, 0)"},
         {"hsl(0 200% 50%)", "rgb(255, 0, 0)"},
         {"hwb(0 20% 40%)", "rgb(153, 51, 51)"},
         {"hwb(0 80% 80%)", "rgb(128, 128, 128)"},
         {"lab(0 0 0)", "rgb(0, 0, 0)"},
         {"lab(100% 0 0)", "rgb(255, 255, 255)"},
         {"lab(29.2345% 39.3825 20.0664)", "rgb(125, 35, 41)"},
         {"lch(52.2345% 72.2 56.2)", "rgb(198, 93, 6)"},
         {"oklab(0.40101 0.1147 0.0453)", "rgb(125, 35, 41)"},
         {"oklch(0.59686 0.15619 49.7694)", "rgb(198, 93, 6)"},
         {"oklch(200% -1 0)", "rgb(255, 255, 255)"},
         {"color(srgb 1 0.5 0)", "rgb(255, 128, 0)"},
         {"color(display-p3 0 1 0)", "rgb(0, 255, 0)"},
         {"color(xyz 0.9505 1 1.089)", "rgb(255, 255, 255)"},
         {"color(srgb-linear 0.5 0.5 0.5)", "rgb(188, 188, 188)"},
         {"light-dark(red, blue)", "rgb(255, 0, 0)"}});
}

TEST(CSSColor, Mixes) {
  check({{"color-mix(in srgb, red, blue)", "rgb(128, 0, 128)"},
         {"color-mix(in srgb, red 25%, blue)", "rgb(64, 0, 191)"},
         {"color-mix(in srgb, red, 25% blue)", "rgb(191, 0, 64)"},
         {"color-mix(in srgb, red 20%, blue 20%)", "rgba(128, 0, 128, 0.4)"},
         {"color-mix(in srgb, red, transparent)", "rgba(255, 0, 0, 0.5)"},
         {"color-mix(in hsl, red, lime)", "rgb(255, 255, 0)"},
         {"color-mix(in hsl longer hue, red, lime)", "rgb(0, 0, 255)"},
         {"color-mix(in hsl, white, red)", "rgb(223, 159, 159)"},
         {"color-mix(IN OKLAB, red, blue)", "rgb(140, 83, 162)"},
         {"color-mix(red, blue)", "rgb(140, 83, 162)"},
         {"color-mix(in srgb, color-mix(in srgb, red, blue), white)", "rgb(191, 128, 191)"}});
}

TEST(CSSColor, MixesInMixesAreBounded) {
  std::string text = "red";
  for (int i = 0; i < 4; ++i) text = "color-mix(in srgb, " + text + ", blue)";
  EXPECT_NE(shown(text), "none");
  for (int i = 0; i < 1000; ++i) text = "color-mix(in srgb, " + text + ", blue)";
  EXPECT_EQ(shown(text), "none");
}

// Some languages have a comma where CSS has a point.
TEST(CSSColor, IsWrittenAlikeInEveryLanguage) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  for (const char* language : {"de_DE.UTF-8", "fr_FR.UTF-8"}) std::setlocale(LC_ALL, language);
  EXPECT_EQ(shown("rgb(0 0 0 / .5)"), "rgba(0, 0, 0, 0.5)");
  std::setlocale(LC_ALL, before.c_str());
}

TEST(CSSColor, WordsForColors) {
  for (const std::string_view text : {"red", "#fff", "oklch(0.5 0.1 20)", "inherit", "currentColor",
                                      "WindowText", "accentcolor", "windowframe"}) {
    EXPECT_TRUE(isCSSColor(text)) << text;
  }
  for (const std::string_view text :
       {"", "none", "bold", "#12345", "ff0000", "red blue", "var(--x)"}) {
    EXPECT_FALSE(isCSSColor(text)) << text;
  }
}

TEST(CSSColor, ColorsOfOldAttributes) {
  const std::vector<Row> rows = {{"", ""},
                                 {" \n", ""},
                                 {"transparent", ""},
                                 {"red", "red"},
                                 {" Red ", "Red"},
                                 {"#abc", "#abc"},
                                 {"#abcdef", "#abcdef"},
                                 {"ff0000", "#ff0000"},
                                 {"f00", "#0f0000"},
                                 {"#f", "#0f0000"},
                                 {"#ff", "#0f0f00"},
                                 {"#ff000080", "#ff0080"},
                                 {"#ggg", "#000000"},
                                 {"#", "#000000"},
                                 {"chucknorris", "#c00000"},
                                 {"sick", "#00c000"},
                                 {"rgb(1,2,3)", "#001030"},
                                 {"é", "#000000"},
                                 {"\xF0\x9F\x8D\xB5"
                                  "1",
                                  "#000001"},
                                 {"123456789abc", "#12569a"},
                                 {"000000001000000002000000003", "#010203"}};
  for (const Row& row : rows) {
    EXPECT_EQ(legacyColor(row.text), row.color) << row.text;
    EXPECT_TRUE(row.color.empty() || readCSSColor(row.color)) << row.text;
  }
  EXPECT_EQ(legacyColor(std::string(100'000, 'f')), "#ffffff");
}

}  // namespace
}  // namespace korvane
