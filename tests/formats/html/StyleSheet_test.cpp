#include "formats/html/StyleSheet.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace korvane {
namespace {

// What the sheet says of an element.
std::string applied(std::string_view css, std::string_view element, std::string_view classes = {},
                    std::string_view id = {}) {
  StyleSheet sheet;
  sheet.read(css);
  CSSStyle style;
  std::size_t budget = 1000;
  sheet.apply(element, classes, id, budget, style);
  return style.text(false);
}

TEST(StyleSheet, Empty) {
  for (const std::string_view css :
       {"", " ", "}", "{", "{}", "p", "p;", "/*", "<!--", "@import 'x';", "p{", "{color:red}",
        "@media print{p{color:red}}", "@font-face{font-family:x}", "@page{", ",{color:red}"}) {
    EXPECT_EQ(applied(css, "p"), "") << css;
  }
  EXPECT_TRUE(StyleSheet().empty());
}

TEST(StyleSheet, Selectors) {
  struct Row {
    std::string_view selector;
    bool fits;
  };
  for (const Row& row : std::vector<Row>{
           {"p", true},          {"P", true},      {".a", true},     {".b", true},
           {"#i", true},         {"p.a", true},    {"p.a.b", true},  {"p.b.a", true},
           {"p#i.a", true},      {".a#i", true},   {"h1, p", true},  {"h1,,p", false},
           {"p ", true},         {"div", false},   {".A", false},    {".c", false},
           {"#I", false},        {"p.a.c", false}, {"div.a", false}, {"p#j", false},
           {"*", true},          {"*.a", true},    {"*#j", false},   {"p*", false},
           {"**", false},        {".1", false},    {"p,", false},    {"p:hover", false},
           {"p::before", false}, {"div p", false}, {"p>b", false},   {"p+p", false},
           {"p[id]", false},     {"p.", false},    {"p#", false},    {"p..a", false},
           {"p#i#i", false},     {".a p", false},  {"p\\.a", false}}) {
    const std::string css = std::string(row.selector) + "{color:red}";
    EXPECT_EQ(applied(css, "p", " b\ta a ", "i"), row.fits ? "color:red" : "") << css;
  }
}

TEST(StyleSheet, TheCascade) {
  EXPECT_EQ(applied("p{color:red}p{color:blue}", "p"), "color:blue");
  EXPECT_EQ(applied(".a{color:red}p{color:blue}", "p", "a"), "color:red");
  EXPECT_EQ(applied("#i{color:red}.a.b{color:blue}", "p", "a b", "i"), "color:red");
  EXPECT_EQ(applied("p.a{color:red}.a{color:blue}", "p", "a"), "color:red");
  EXPECT_EQ(applied("p{color:red!important}#i{color:blue}", "p", "", "i"), "color:red");
  EXPECT_EQ(applied("p{color:red}p{font-size:1em}", "p"), "color:red;font-size:1em");
}

TEST(StyleSheet, WhatStandsBetween) {
  EXPECT_EQ(applied("<!-- p{color:red} -->", "p"), "color:red");
  EXPECT_EQ(applied("@charset 'x';p{color:red}", "p"), "color:red");
  EXPECT_EQ(applied("@media print{p{color:blue}}p{color:red}", "p"), "color:red");
  EXPECT_EQ(applied("@media x{@media y{p{color:blue}}p{color:blue}}p{color:red}", "p"),
            "color:red");
  EXPECT_EQ(applied("p/* { */{color/**/:red}", "p"), "color:red");
  EXPECT_EQ(applied("b{x:'}'}p{color:red}", "p"), "color:red");
  EXPECT_EQ(applied("b{x:'}\n}p{color:red}", "p"), "color:red");  // the quote ends with its line
  EXPECT_EQ(applied("p{color:red", "p"), "color:red");
  EXPECT_EQ(applied("nonsense;p{color:red}", "p"), "color:red");
}

TEST(StyleSheet, SeveralSheets) {
  StyleSheet sheet;
  sheet.read("p{color:red}");
  sheet.read("p{color:blue}");
  EXPECT_FALSE(sheet.empty());
  CSSStyle style;
  std::size_t budget = 1000;
  sheet.apply("p", {}, {}, budget, style);
  EXPECT_EQ(style.text(false), "color:blue");
  EXPECT_EQ(budget, 998U);
}

TEST(StyleSheet, Bounds) {
  StyleSheet sheet;
  std::string css;
  for (int i = 0; i < 5000; ++i) css += "x" + std::to_string(i) + "{color:red}";
  sheet.read(css);
  std::size_t budget = 1000;
  CSSStyle first;
  sheet.apply("x1999", {}, {}, budget, first);
  EXPECT_EQ(first.text(false), "color:red");
  CSSStyle late;
  sheet.apply("x2000", {}, {}, budget, late);
  EXPECT_EQ(late.text(false), "");

  // Once the budget is used up nothing is added.
  budget = 0;
  CSSStyle none;
  sheet.apply("x1", {}, {}, budget, none);
  EXPECT_EQ(none.text(false), "");

  // Of rules for the same element the first sixteen count.
  css.clear();
  for (int i = 0; i < 20; ++i) css += "p{font-size:" + std::to_string(i) + "px}";
  EXPECT_EQ(applied(css, "p"), "font-size:15px");
  // Names that nobody writes.
  EXPECT_EQ(applied('.' + std::string(101, 'a') + "{color:red}", "p", std::string(101, 'a')), "");
}

}  // namespace
}  // namespace korvane
