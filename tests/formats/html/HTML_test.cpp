#include "formats/html/HTML.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "support/HTMLReading.h"
#include "support/JsonLines.h"

namespace korvane {
namespace {

using testing::read;

// What stands between the body's tags, which every document has once.
std::string body(const std::string& html) {
  static const std::string kHead =
      "<!DOCTYPE html>\n<html>\n<head><meta charset=\"utf-8\"></head>\n<body>\n";
  static const std::string kTail = "\n</body>\n</html>\n";
  EXPECT_TRUE(html.starts_with(kHead)) << html;
  EXPECT_TRUE(html.ends_with(kTail)) << html;
  if (html.size() < kHead.size() + kTail.size()) return {};  // an empty body
  return html.substr(kHead.size(), html.size() - kHead.size() - kTail.size());
}

struct Case {
  std::string_view html;
  std::string_view body;
  std::string_view text;
};

void check(const std::vector<Case>& cases) {
  for (const Case& one : cases) {
    const HTMLText result = read(one.html);
    EXPECT_EQ(body(result.html), one.body) << one.html;
    EXPECT_EQ(result.text, one.text) << one.html;
    const HTMLText again = read(result.html);
    EXPECT_EQ(again.html, result.html) << one.html;
    EXPECT_EQ(again.text, result.text) << one.html;
  }
}

TEST(HTML, ControlCharactersAreNoText) {
  check({
      {"\a", "", ""},
      {"a\ab<b>\x1F&#7;</b>c\x7F\xC2\x85", "abc", "abc"},
      {"a\fb&#13;c&#12;d", "a b c d", "a b c d"},
      {"<pre>a\fb&#13;\bc</pre>", "<pre>\na b c</pre>", "a b c"},
      {"<img src=x alt='a\a'>", "a", "a"},
      {"<font color='\x1F'>a<font color='re\xC2\x9D"
       "d'>b</font>",
       "a<span style=\"color:red\">b</span>", "ab"},
  });
}

TEST(HTML, KeepsStructureAndStyle) {
  check({
      {"", "", ""},
      {"plain", "plain", "plain"},
      {"<p>a<p>b", "<p>a</p>\n<p>b</p>", "a\n\nb"},
      {"<p>a</p>b<p>c", "<p>a</p>\nb\n<p>c</p>", "a\n\nb\n\nc"},
      {"one<br>two<br/>three</br>four", "one<br>\ntwo<br>\nthree<br>\nfour",
       "one\ntwo\nthree\nfour"},
      {"<h2>T</h2><div>x</div><hr>y", "<h2>T</h2>\n<div>x</div>\n<hr>\ny", "T\nx\ny"},
      {"<b>b</b><i>i</i><u>u</u><s>s</s><em>e</em><strong>t</strong><code>c</code>",
       "<b>b</b><i>i</i><u>u</u><s>s</s><em>e</em><strong>t</strong><code>c</code>", "biusetc"},
      {"<ul><li>1<li>2</ul><ol start=3><li>x</ol>",
       "<ul>\n<li>1</li>\n<li>2</li>\n</ul>\n<ol start=\"3\">\n<li>x</li>\n</ol>", "1\n2\nx"},
      {"<dl><dt>t<dd>d</dl>", "<dl>\n<dt>t</dt>\n<dd>d</dd>\n</dl>", "t\nd"},
      {"<table><caption>c<thead><tr><th>h<tbody><tr><td>a<td rowspan=2>b</table>",
       "<table>\n<caption>c</caption>\n<thead>\n<tr>\n<th>h</th>\n</tr>\n</thead>\n<tbody>\n<tr>\n"
       "<td>a</td>\n<td rowspan=\"2\">b</td>\n</tr>\n</tbody>\n</table>",
       "c\nh\na\tb"},
      {"<blockquote>q</blockquote>", "<blockquote>q</blockquote>", "q"},
      {"<pre>\n a\n\tb</pre>", "<pre>\n a\n\tb</pre>", " a\n\tb"},
      {"<pre>\n\na</pre>", "<pre>\n\na</pre>", "\na"},
      {"<a href='https://a.example/?x=1&amp;y=2'>l</a>",
       "<a href=\"https://a.example/?x=1&amp;y=2\">l</a>", "l"},
      {"<p dir=RTL>x", "<p dir=\"rtl\">x</p>", "x"},
      {"<section><article>a</article></section>", "<div>\n<div>a</div>\n</div>", "a"},
  });
}

TEST(HTML, ReplacesWhatHTML5HasNoMore) {
  check({
      {"<font color=red face='Comic Sans MS' size=5>x</font>",
       "<span style=\"color:red;font-family:Comic Sans MS;font-size:x-large\">x</span>", "x"},
      {"<center>c</center>", "<div style=\"text-align:center\">c</div>", "c"},
      {"<tt>t</tt><strike>s</strike><big>b</big>",
       "<code>t</code><s>s</s><span style=\"font-size:larger\">b</span>", "tsb"},
      {"<p align=right>x", "<p style=\"text-align:right\">x</p>", "x"},
      {"<table><tr><td bgcolor='#ff0000'>x</table>",
       "<table>\n<tr>\n<td style=\"background-color:#ff0000\">x</td>\n</tr>\n</table>", "x"},
      {"<xmp><b>x</b></xmp>", "<pre>\n&lt;b&gt;x&lt;/b&gt;</pre>", "<b>x</b>"},
      {"a<plaintext><b></plaintext>", "a\n<pre>\n&lt;b&gt;&lt;/plaintext&gt;</pre>",
       "a\n<b></plaintext>"},
  });
}

TEST(HTML, PutsElementsWhereTheyMayStand) {
  check({
      {"<b>x<i>y</b>z</i>", "<b>x<i>y</i></b><i>z</i>", "xyz"},
      {"<b><p>x</p></b>", "<p><b>x</b></p>", "x"},
      {"<a href=http://a/>x<a href=http://b/>y</a>z",
       "<a href=\"http://a/\">x</a><a href=\"http://b/\">y</a>z", "xyz"},
      {"<ul>x</ul>", "<ul>\n<li>x</li>\n</ul>", "x"},
      {"<li>x<li>y", "<div>x</div>\n<div>y</div>", "x\ny"},
      {"<li value=3 type=a dir=rtl>x", "<div dir=\"rtl\">x</div>", "x"},
      {"<table>x</table>", "<table>\n<tr>\n<td>x</td>\n</tr>\n</table>", "x"},
      {"<tr><td>x</td></tr>", "x", "x"},
      {"<h1><div>a</div><div>b</div></h1>", "<h1>a<br>\nb</h1>", "a\nb"},
      {"<pre><div>a</div><div>b</div></pre>", "<pre>\na\nb</pre>", "a\nb"},
      {"<div><pre><div>a</div>b</pre></div>c", "<div>\n<pre>\na\nb</pre>\n</div>\nc", "a\nb\nc"},
      {"<p>a<table><tr><td>b</table>", "<p>a</p>\n<table>\n<tr>\n<td>b</td>\n</tr>\n</table>",
       "a\n\nb"},
      {"<b>o<table><tr><td></b>x<i>y</table>z",
       "<b>o</b>\n<table>\n<tr>\n<td><b>x<i>y</i></b></td>\n</tr>\n</table>\n<b>z</b>", "o\nxy\nz"},
      {"<div></section>x</div>", "<div>x</div>", "x"},
      {"<b></b><span>x</span><a>y</a>", "xy", "xy"},
  });
}

TEST(HTML, KeepsSpacesWhereTheyCount) {
  check({
      {"  a \n b  ", "a\nb", "a b"},
      {"<b>a </b> c", "<b>a</b> c", "a c"},
      {"a&nbsp;&nbsp;b", "a&nbsp;&nbsp;b",
       "a\xC2\xA0\xC2\xA0"
       "b"},
      {"<span style='white-space:pre-wrap'>a  b\n</span>c",
       "<span style=\"white-space:pre-wrap\">a  b\n</span>c", "a  b\nc"},
      {"<s style='white-space:pre'>a<s style='white-space:normal'>\nc",
       "<s style=\"white-space:pre\">a <s style=\"white-space:normal\">c</s></s>", "a c"},
      {"<div style='white-space: pre'><div>  a</div><div>b</div></div>",
       "<div style=\"white-space:pre\"><div>  a</div><div>b</div></div>", "  a\nb"},
  });
}

TEST(HTML, LeavesOutWhatIsNotShown) {
  check({
      {"<title>t</title>a", "a", "a"},
      {"a <div style='display:none'>x<p>y</div>b", "a b", "a b"},
      {"<span hidden>x</span>y", "y", "y"},
      {"a<!-- x -->b<!>c<?php x ?>d<![CDATA[ e ]]>f", "abcdf", "abcdf"},
      {"<select><option>o<option>p</select>", "<div>o\n<div>p</div>\n</div>", "o\np"},
      {"<textarea>&lt;b></textarea><button>k</button><input value=v>", "&lt;b&gt;k", "<b>k"},
      {"<video>v</video><object>o</object><template>t</template>x", "ox", "ox"},
  });
}

TEST(HTML, KeepsOnlyHarmlessStyle) {
  const std::vector<std::pair<std::string_view, std::string_view>> cases = {
      {"color:red", "color:red"},
      {" COLOR : #Abc ; font-weight:bold !important", "color:#Abc;font-weight:bold"},
      {"font-family:\"Times New Roman\",serif", "font-family:&quot;Times New Roman&quot;,serif"},
      {"color:rgba(1, 2, 3, 0.5)", "color:rgba(1, 2, 3, 0.5)"},
      {"background:url(http://x/)", ""},
      {"background:url(data:image/png;base64,AAAA)", ""},
      {"width:expression(alert(1))", ""},
      {"width:exp/**/ression(alert(1))", ""},
      {"color:\\65xpression(1)", ""},
      {"-moz-binding:url(x)", ""},
      {"behavior:url(x.htc)", ""},
      {"position:fixed;top:0;z-index:9", ""},
      {"margin-left:-999px;text-indent:-9em", ""},
      {"@import 'x';color:red", "color:red"},
      {"color:red;}body{color:blue", "color:red"},
      {"font-family:'a;color:red;b'", ""},
      {"content:'x';color:\"red", ""},
      {"color:", ""},
      {"color:var(--x)", ""},
  };
  for (const auto& [style, kept] : cases) {
    std::string escaped;
    for (const char c : style) escaped += c == '"' ? "&quot;" : std::string(1, c);
    const HTMLText result = read("<i style=\"" + escaped + "\">x</i>");
    const std::string expected =
        kept.empty() ? "<i>x</i>" : "<i style=\"" + std::string(kept) + "\">x</i>";
    EXPECT_EQ(body(result.html), expected) << style;
  }
}

TEST(HTML, KeepsOnlyLinksThatLeadSomewhere) {
  const std::vector<std::string_view> kept = {"http://a.example",   "HTTPS://a.example/ü",
                                              "mailto:a@b.example", "tel:+39",
                                              "ftp://x/",           "sms:1"};
  for (const std::string_view link : kept) {
    const std::string tag = "<a href=\"" + std::string(link) + "\">x</a>";
    EXPECT_EQ(body(read(tag).html), tag);
  }
  const std::vector<std::string_view> dropped = {"javascript:alert(1)",
                                                 "JaVaScRiPt:alert(1)",
                                                 " javascript:alert(1)",
                                                 "java\tscript:alert(1)",
                                                 "java\nscript:alert(1)",
                                                 "java&#10;script:alert(1)",
                                                 "&#x6A;avascript:alert(1)",
                                                 "&#0000106avascript:alert(1)",
                                                 "javascript&colon;alert(1)",
                                                 "\x01javascript:alert(1)",
                                                 "vbscript:x",
                                                 "data:text/html,<script>alert(1)</script>",
                                                 "data:text/html;base64,PHNjcmlwdD4=",
                                                 "file:///etc/passwd",
                                                 "korvane:compose?attach=/etc/passwd",
                                                 "/relative",
                                                 "//host/x",
                                                 "#here",
                                                 "x.html",
                                                 "",
                                                 "view-source:http://x",
                                                 "blob:http://x/1",
                                                 "feed:javascript:alert(1)"};
  for (const std::string_view link : dropped) {
    EXPECT_EQ(body(read("<a href=\"" + std::string(link) + "\">x</a>").html), "x") << link;
  }
  EXPECT_EQ(body(read("<a href=' ht\ntps://a.example '>x</a>").html),
            "<a href=\"https://a.example\">x</a>");
}

TEST(HTML, KeepsOnlyPicturesOfItsOwn) {
  check({
      {"<img src=data:image/png;base64,AAAA alt='\"q\"' width=3 height=x>",
       "<img src=\"data:image/png;base64,AAAA\" alt=\"&quot;q&quot;\" width=\"3\">",
       "\xEF\xBF\xBC"},
      {"<img src='data:image/JPEG;base64,AA\n AA='>",
       "<img src=\"data:image/jpeg;base64,AAAA=\" alt=\"\">", "\xEF\xBF\xBC"},
      {"a<img src=https://tracker.example/p.gif alt=Alt>b", "aAltb", "aAltb"},
      {"<img src=cid:1><img srcset='http://x/ 2x'><img lowsrc=http://x/>", "", ""},
      {"<img src='data:image/svg+xml;base64,AAAA' alt=v>", "v", "v"},
      {"<img src='data:image/png,<b>' alt=v>", "v", "v"},
      {"<picture><source srcset=http://x/><img alt=p></picture>", "p", "p"},
  });
}

TEST(HTML, ReadsTheEncodingsThatProgramsHandOver) {
  const std::string utf16 = [] {
    std::string out;
    for (const char c : std::string_view("<p>Gr\xFC\xDF"
                                         "e</p>")) {
      out += c;
      out += '\0';
    }
    return out;
  }();
  std::string bigEndian;
  for (std::size_t i = 0; i < utf16.size(); i += 2) bigEndian += {utf16[i + 1], utf16[i]};
  for (const std::string& html :
       {std::string("<p>Grüße</p>"), "\xEF\xBB\xBF" + std::string("<p>Grüße</p>"),
        std::string("<p>Gr\xFC\xDF"
                    "e</p>"),
        "\xFF\xFE" + utf16, utf16, "\xFE\xFF" + bigEndian, bigEndian,
        std::string("<meta charset=iso-8859-15><p>Gr\xFC\xDF"
                    "e</p>"),
        std::string("<META http-equiv=Content-Type content='text/html; charset=ISO-8859-1'>"
                    "<p>Gr\xFC\xDF"
                    "e</p>"),
        std::string("<meta charset=no-such-thing><p>Gr\xFC\xDF"
                    "e</p>")}) {
    EXPECT_EQ(read(html).text, "Grüße");
  }
  EXPECT_EQ(read("<meta charset=shift_jis>\x82\xA0").text, "あ");
  EXPECT_EQ(read("<meta charset=utf-8>a\xFFz").text, "a\uFFFDz");
  EXPECT_EQ(read("\x93q\x94 \x80").text, "“q” €");
}

TEST(HTML, ReplacesCharacterReferences) {
  EXPECT_EQ(read("&lt;&amp;&gt;&quot;&apos;&auml;&euro;&thetasym;").text, "<&>\"'ä€ϑ");
  EXPECT_EQ(read("&#228;&#xE4;&#XE4&#228x").text, "ääääx");
  EXPECT_EQ(read("&#128;&#0;&#xD800;&#x110000;&#99999999999;").text, "€\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(read("&ampx &notit &unknown; & &; &# &#x;").text, "&x ¬it &unknown; & &; &# &#x;");
  EXPECT_EQ(read("&nbsp").text, "\u00A0");
}

// Where a row says "same", a browser shows the body as it shows the document: tests/browsers sees
// to that.
TEST(HTML, EveryRowOfTheTable) {
  const auto rows = testing::readJsonLines("html.jsonl");
  ASSERT_EQ(rows.size(), 1140U);
  for (const Value& row : rows) {
    const std::string html(row.objectForKey("html").text());
    const HTMLText result = read(html, row.objectForKey("base").text());
    EXPECT_EQ(body(result.html), row.objectForKey("body").text()) << html;
    const Value text = row.objectForKey("text");
    if (!text.isAbsent()) {
      EXPECT_EQ(result.text, text.text()) << html;
    }
    const HTMLText again = read(result.html);
    EXPECT_EQ(again.html, result.html) << html;
    EXPECT_EQ(again.text, result.text) << html;
  }
}

TEST(HTML, RulesOfStyleAreForTheBodyToo) {
  for (const std::string_view html :
       {"<style>*{color:red}</style>x", "<style>body{color:red}</style><body>x",
        "<body>x<style>body{color:red}</style>",
        "<body>x<b>y</b><style>*{color:blue}</style>"
        "<style>body,b{color:red}</style>"}) {
    const HTMLText result = read(html);
    EXPECT_NE(result.html.find("<body style=\"color:red\">\nx"), std::string::npos) << result.html;
    EXPECT_EQ(read(result.html).html, result.html);
  }
}

TEST(HTML, LanguageAndDirectionOfTheDocumentAreTheBodys) {
  for (const std::string_view html :
       {"<html lang=ar dir=rtl><p>x", "<html dir=ltr lang=ar><body dir=rtl lang=ar><p>x"}) {
    const HTMLText result = read(html);
    EXPECT_NE(result.html.find(" dir=\"rtl\""), std::string::npos) << result.html;
    EXPECT_NE(result.html.find(" lang=\"ar\""), std::string::npos) << result.html;
    EXPECT_EQ(result.html.find("ltr"), std::string::npos) << result.html;
    EXPECT_EQ(read(result.html).html, result.html);
  }
}

}  // namespace
}  // namespace korvane
