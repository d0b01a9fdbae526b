#include "formats/html/HTMLRules.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "formats/html/HTMLTokens.h"

namespace korvane {
namespace {

// The attributes of the document's first tag.
std::vector<HTMLAttribute> attributesOf(std::string_view tag) {
  HTMLTokens tokens(tag);
  HTMLToken token;
  EXPECT_TRUE(tokens.next(token)) << tag;
  return token.attributes;
}

HTMLKeptAttributes kept(std::string_view tag, const HTMLSurroundings& around = {}) {
  HTMLTokens tokens(tag);
  HTMLToken token;
  EXPECT_TRUE(tokens.next(token)) << tag;
  const HTMLRule* rule = findHTMLRule(token.name);
  EXPECT_NE(rule, nullptr) << tag;
  return rule == nullptr ? HTMLKeptAttributes() : keepAttributes(*rule, token.attributes, around);
}

struct Row {
  std::string_view tag;
  std::string_view text;
};

void check(const std::vector<Row>& rows) {
  for (const Row& row : rows) EXPECT_EQ(kept(row.tag).text, row.text) << row.tag;
}

TEST(HTMLRules, Elements) {
  for (const std::string_view name : {"", "A", "x", "blink", "marquee", "a ", "abbrx", "zzz"}) {
    EXPECT_EQ(findHTMLRule(name), nullptr) << name;
  }
  for (const std::string_view name : {"a", "xmp", "td", "script"}) {
    ASSERT_NE(findHTMLRule(name), nullptr) << name;
    EXPECT_EQ(findHTMLRule(name), findHTMLRule(std::string(name)));
  }
  EXPECT_EQ(findHTMLRule("script")->role, HTMLRole::skipped);
  EXPECT_EQ(findHTMLRule("tt")->written, "code");
}

TEST(HTMLRules, AttributesThatMayNotStay) {
  check({{"<p>", ""},
         {"<p onclick=x id=y class=z data-x=1 contenteditable>", ""},
         {"<a href=javascript:x target=_blank>", ""},
         {"<td background='' abbr=x headers=y scope=row>", ""},
         {"<b href=https://a.example/ src=x>", ""},
         {"<p title=x value=3 start=2 border=1 width=3>", ""},
         {"<p style=''>", ""},
         {"<p lang='' dir=x>", ""},
         {"<p lang='a b'>", ""}});
}

TEST(HTMLRules, Numbers) {
  check({{"<ol start=3>", " start=\"3\""},
         {"<ol start='-3'>", " start=\"-3\""},
         {"<ol start='+3'>", " start=\"3\""},
         {"<ol start=' 3x'>", " start=\"3\""},
         {"<ol start=1000000000>", " start=\"1000000000\""},
         {"<ol start=1000000001>", ""},
         {"<ol start=99999999999999>", ""},
         {"<ol start=x>", ""},
         {"<ol start>", ""},
         {"<ol start='+-3'>", ""},
         {"<ul start=3>", ""},
         {"<li value=0>", " value=\"0\""},
         {"<dd value=1 type=a>", ""},
         {"<td colspan=2 rowspan=0>", " colspan=\"2\" rowspan=\"0\""},
         {"<td colspan=1001 rowspan=-1>", " colspan=\"1000\""},
         {"<table border>", " border=\"1\""},
         {"<table border=''>", " border=\"1\""},
         {"<table border=x>", " border=\"1\""},
         {"<table border=3px>", " border=\"3\""},
         {"<table border=0 cellpadding=2 cellspacing=1001>", " border=\"0\" cellpadding=\"2\""}});
}

TEST(HTMLRules, Lengths) {
  check({{"<td width=50>", " width=\"50\""},
         {"<td width='50%'>", " width=\"50%\""},
         {"<td width='50.5%'>", " width=\"50%\""},
         {"<td width=50px>", " width=\"50\""},
         {"<td width='50 %'>", " width=\"50\""},
         {"<td width=101%>", ""},
         {"<td width=10001>", ""},
         {"<td width=-1>", ""},
         {"<td width='*'>", ""},
         {"<td width=''>", ""},
         {"<tr width=5 height=6>", " height=\"6\""}});
}

TEST(HTMLRules, Words) {
  check({{"<p dir=' RTL '>", " dir=\"rtl\""},
         {"<p lang=de-CH>", " lang=\"de-CH\""},
         {"<ol type=a>", " type=\"a\""},
         {"<ol type=A>", " type=\"A\""},
         {"<ul type=CIRCLE>", " type=\"circle\""},
         {"<ol type=x>", ""},
         {"<ol reversed=false>", " reversed=\"\""},
         {"<td valign=TOP nowrap=0>", " valign=\"top\" nowrap=\"\""},
         {"<table frame=box rules=all>", " frame=\"box\" rules=\"all\""},
         {"<table frame=x rules=y>", ""},
         {"<abbr title='a &quot;b&quot;'>", " title=\"a &quot;b&quot;\""}});
}

TEST(HTMLRules, AttributesThatBecomeStyle) {
  check({{"<p align=right>", " style=\"text-align:right\""},
         {"<p align=MIDDLE>", " style=\"text-align:center\""},
         {"<p align=char>", ""},
         {"<table align=center>", " style=\"margin-left:auto;margin-right:auto\""},
         {"<td bgcolor=ff0000>", " style=\"background-color:#ff0000\""},
         {"<font color=red size=+1 face=A>", " style=\"color:red;font-size:large;font-family:A\""},
         {"<font size=7>", " style=\"font-size:xx-large\""},
         {"<font size=-9>", " style=\"font-size:x-small\""},
         {"<font size=x color=''>", ""},
         {"<p color=red size=3 face=x>", ""},
         {"<center style='text-align:left'>", " style=\"text-align:left\""},
         {"<p align=left style='text-align:right'>", " style=\"text-align:right\""}});
}

TEST(HTMLRules, Links) {
  HTMLSurroundings around;
  around.base = "https://a.example/b/";
  EXPECT_EQ(kept("<a href=c>", around).link, "https://a.example/b/c");
  EXPECT_EQ(kept("<a href=c>").link, "");
  EXPECT_EQ(kept("<a href=' java\nscript:x'>", around).text, "");
  EXPECT_EQ(kept("<a href='?a&lt;=1&copy=2'>", around).text,
            " href=\"https://a.example/b/?a&lt;=1&amp;copy=2\"");
}

TEST(HTMLRules, WhatIsSeen) {
  EXPECT_TRUE(kept("<p hidden=false>").hidden);
  EXPECT_TRUE(kept("<p style=display:none>").hidden);
  EXPECT_FALSE(kept("<p style=visibility:hidden>").hidden);
  EXPECT_EQ(kept("<p style=visibility:hidden>").visible, false);
  EXPECT_EQ(kept("<p>").preservesSpace, std::nullopt);
  EXPECT_EQ(kept("<pre>").preservesSpace, true);
  EXPECT_EQ(kept("<pre style='white-space:normal'>").preservesSpace, false);
  EXPECT_EQ(kept("<p background=x.png>").background, CSSBackground::lost);
}

TEST(HTMLRules, SheetsStandBelowTheElementsOwnStyle) {
  StyleSheet sheet;
  sheet.read(".a{color:red;font-size:1em}#i{color:lime}");
  std::size_t budget = 3;
  HTMLSurroundings around;
  around.sheet = &sheet;
  around.budget = &budget;
  EXPECT_EQ(kept("<p class=a style=color:blue>", around).text,
            " style=\"font-size:1em;color:blue\"");
  EXPECT_EQ(budget, 1U);
  EXPECT_EQ(kept("<p class=a id=i>", around).text, "");
}

TEST(HTMLRules, Pictures) {
  const auto tag = [](std::string_view text) { return pictureTag(attributesOf(text)); };
  EXPECT_EQ(tag("<img src='data:image/png;base64,AAAA' alt='a\"b' width=3 onload=x>"),
            "<img src=\"data:image/png;base64,AAAA\" alt=\"a&quot;b\" width=\"3\">");
  EXPECT_EQ(tag("<img src=' DATA:IMAGE/GIF;BASE64,AA\n AA=='>"),
            "<img src=\"data:image/gif;base64,AAAA==\" alt=\"\">");
  EXPECT_EQ(tag("<img src=data:image/webp;base64,A width=9 style='width:20px;height:1em'>"),
            "<img src=\"data:image/webp;base64,A\" alt=\"\" width=\"20\">");
  for (const std::string_view text :
       {"<img>", "<img src=x.png>", "<img src=data:image/png;base64,>",
        "<img src=data:image/png,A>", "<img src=data:image/svg+xml;base64,A>",
        "<img src=data:text/html;base64,A>", "<img src='data:image/png;base64,A\"'>",
        "<img src=data:image/png;base64,A%41>", "<img src=data:image/png;charset=x;base64,A>"}) {
    EXPECT_EQ(tag(text), std::nullopt) << text;
  }
}

TEST(HTMLRules, Values) {
  const auto all = attributesOf("<p a='&lt;\x07' b c=1 C=2>");
  EXPECT_EQ(attributeValue(all, "a"), "<");
  EXPECT_EQ(attributeValue(all, "b"), "");
  EXPECT_EQ(attributeValue(all, "c"), "1");
  EXPECT_EQ(attributeValue(all, "d"), "");
}

}  // namespace
}  // namespace korvane
