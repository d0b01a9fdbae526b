#include "formats/html/CSSStyle.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvane {
namespace {

CSSStyle style(std::string_view declarations) {
  CSSStyle made;
  made.addAll(declarations);
  return made;
}

struct Row {
  std::string_view declarations;
  std::string_view text;
};

void check(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    EXPECT_EQ(style(row.declarations).text(false), row.text) << row.declarations;
    EXPECT_EQ(style(row.text).text(false), row.text) << row.declarations;
  }
}

TEST(CSSStyle, Declarations) {
  EXPECT_TRUE(readDeclarations("").empty());
  EXPECT_TRUE(readDeclarations(" ; ;;color").empty());
  const auto read = readDeclarations(
      "COLOR : Red ;x:a:b; y: \"p;q\" !IMPORTANT;z:url(a;b)/*;*/;u:! important ; :v;w:");
  ASSERT_EQ(read.size(), 7U);
  EXPECT_EQ(read[0].property, "color");
  EXPECT_EQ(read[0].value, "Red");
  EXPECT_FALSE(read[0].important);
  EXPECT_EQ(read[1].value, "a:b");
  EXPECT_EQ(read[2].value, "\"p;q\"");
  EXPECT_TRUE(read[2].important);
  EXPECT_EQ(read[3].value, "url(a;b)");
  EXPECT_TRUE(read[4].important);
  EXPECT_EQ(read[4].value, "");
  EXPECT_EQ(read[5].property, "");
  EXPECT_EQ(read[6].value, "");
  std::string many;
  for (int i = 0; i < 1000; ++i) many += "a:b;";
  EXPECT_EQ(readDeclarations(many).size(), 32U);
}

TEST(CSSStyle, WhatStays) {
  check({{"", ""},
         {"color:red", "color:red"},
         {"position:fixed;float:left;z-index:9;content:'x';cursor:url(x);behavior:url(x)", ""},
         {"margin:-5px;margin-top:5px", "margin-top:5px"},
         {"font:12px Arial;font-weight:bold", "font:12px Arial;font-weight:bold"},
         {"list-style:square url(x.png) inside", "list-style:square inside"},
         {"list-style:url(x.png)", ""},
         {"mso-hide:all;-webkit-text-stroke:1px;--x:y", ""},
         {"white-space-collapse:preserve", "white-space:pre-wrap"},
         {"white-space-collapse:collapse", ""}});
}

TEST(CSSStyle, TheStrongerCounts) {
  check({{"color:red;color:blue", "color:blue"},
         {"color:red;font-size:2em;color:blue", "font-size:2em;color:blue"},
         {"color:red!important;color:blue", "color:red"},
         {"color:red!important;color:blue!important", "color:blue"},
         {"color:red;color:nocolor", "color:red"},
         {"color:red;color:var(--x)", "color:red"},
         {"background-color:red;background-color:nocolor", "background-color:red"},
         {"font-size:1em;font-size:calc(2em)", "font-size:2em"},
         {"font-size:1em;font-size:calc(2em + 1px)", "font-size:1em"},
         {"font:1em Arial!important;font-size:2em", "font-size:2em;font:1em Arial"},
         {"font-size:2em!important;font:1em Arial", "font:1em Arial;font-size:2em"}});
}

TEST(CSSStyle, OfABackgroundTheColorStays) {
  check({{"background:red", "background-color:red"},
         {"background:red url(x) no-repeat", "background-color:red"},
         {"background:url(x), url(y) blue", "background-color:blue"},
         {"background:none", "background-color:transparent"},
         {"background:red;background:none", "background-color:transparent"},
         {"background-color:red!important;background:blue", "background-color:red"}});
}

TEST(CSSStyle, ATextColorGoesWithItsBackground) {
  check({{"background:url(x);color:white", ""},
         {"color:white;background-image:linear-gradient(red,blue);font-size:1em", "font-size:1em"},
         {"background:url(x) black;color:white", "background-color:black;color:white"},
         {"background-color:var(--x);color:white", ""},
         {"background-image:none;color:red", "color:red"}});
  EXPECT_EQ(style("color:white").text(true), "");
  EXPECT_EQ(style("color:white;background:navy").text(true), "color:white;background-color:navy");
  EXPECT_EQ(style("color:white;background-color:transparent").text(true),
            "background-color:transparent");
}

TEST(CSSStyle, Background) {
  EXPECT_EQ(style("").background(), CSSBackground::outer);
  EXPECT_EQ(style("background:none").background(), CSSBackground::outer);
  EXPECT_EQ(style("background-color:rgba(0,0,0,0)").background(), CSSBackground::outer);
  EXPECT_EQ(style("background:red").background(), CSSBackground::kept);
  EXPECT_EQ(style("background-color:rgb(0 0 0 / .01)").background(), CSSBackground::kept);
  EXPECT_EQ(style("background:url(x)").background(), CSSBackground::lost);
  EXPECT_EQ(style("background:url(x);background:none").background(), CSSBackground::outer);
  EXPECT_EQ(style("background-color:var(--x)").background(), CSSBackground::lost);
  EXPECT_EQ(style("background-color:var(--x);background-color:red").background(),
            CSSBackground::kept);
  EXPECT_EQ(style("background-color:nocolor").background(), CSSBackground::outer);
}

TEST(CSSStyle, WhetherItIsSeen) {
  for (const std::string_view hidden :
       {"display:none", "DISPLAY:NONE", "display:none!important;display:block",
        "clip:rect(0 0 0 0)", "clip:rect(1px,1px,1px,1px)", "clip-path:inset(50%)"}) {
    EXPECT_TRUE(style(hidden).hidden()) << hidden;
    EXPECT_EQ(style(hidden).text(false), "") << hidden;
  }
  for (const std::string_view shown :
       {"", "display:block", "display:none;display:block", "clip:auto",
        "clip:rect(0 0 0 0);clip:auto", "visibility:hidden", "display:none x"}) {
    EXPECT_FALSE(style(shown).hidden()) << shown;
  }
  EXPECT_EQ(style("").visible(), std::nullopt);
  EXPECT_EQ(style("visibility:inherit").visible(), std::nullopt);
  EXPECT_EQ(style("visibility:hidden").visible(), false);
  EXPECT_EQ(style("visibility:collapse").visible(), false);
  EXPECT_EQ(style("visibility:hidden;visibility:VISIBLE").visible(), true);
}

TEST(CSSStyle, WhetherSpacesCount) {
  EXPECT_EQ(style("").preservesSpace(), std::nullopt);
  for (const std::string_view value : {"pre", "pre-wrap", "PRE", "pre-line", "break-spaces"}) {
    EXPECT_EQ(style("white-space:" + std::string(value)).preservesSpace(), true) << value;
  }
  EXPECT_EQ(style("white-space:normal").preservesSpace(), false);
  EXPECT_EQ(style("white-space:pre;white-space:nowrap").preservesSpace(), false);
  CSSStyle body(true);
  body.addAll("white-space:pre;color:red");
  EXPECT_EQ(body.preservesSpace(), std::nullopt);
  EXPECT_EQ(body.text(false), "color:red");
}

}  // namespace
}  // namespace korvane
