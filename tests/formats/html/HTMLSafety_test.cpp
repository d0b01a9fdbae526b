// What HTML documents of strangers may not do: run or load something, take long, or come out as
// anything that reads back differently.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "formats/html/HTML.h"
#include "support/HTMLReading.h"

namespace korvane {
namespace {

using testing::bytes;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::read;

// Whatever is read, the document holds nothing that runs or loads.
void expectHarmless(const std::string& html, const std::string& source) {
  const auto inTags = [&] {
    std::string tags;
    for (std::size_t at = html.find('<'); at != html.npos; at = html.find('<', at + 1)) {
      tags += html.substr(at, html.find('>', at) - at + 1);
    }
    for (char& c : tags) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    return tags;
  }();
  for (const char* bad :
       {"<script",   "<style",     "<iframe",    "<object",      "<embed",        "<svg",
        "<math",     "<form",      "<input",     "<base",        "<link",         "<template",
        "<noscript", "<frame",     "<title",     "<textarea",    "<xmp",          "<plaintext",
        "<!--",      "<![cdata",   "<?",         " on",          "javascript:",   "vbscript:",
        "url(",      "expression", " srcset",    " background=", "formaction",    "xlink",
        " id=",      " class=",    "http-equiv", "data:text",    "data:image/svg"}) {
    EXPECT_THAT(inTags, Not(HasSubstr(bad))) << source;
  }
}

TEST(HTMLSafety, HostileDocumentsComeOutHarmless) {
  const std::vector<std::string> cases = {
      "<script>alert(1)</script>",
      "<SCRIPT SRC=http://x/>alert(1)</SCRIPT >",
      "<scr<script>ipt>alert(1)</scr</script>ipt>",
      std::string("<scr\0ipt>alert(1)</script>", 26),
      "<img src=x onerror=alert(1)>",
      "<img src=data:image/png;base64,AAAA onload=alert(1) ONERROR='x'>",
      "<img/src=data:image/png;base64,AAAA/onerror=alert(1)>",
      "<math><mtext><table><mglyph><style><!--</style><img title=\"--&gt;&lt;img src=1 "
      "onerror=alert(1)&gt;\">",
      "<svg></p><style><a id=\"</style><img src=1 onerror=alert(1)>\">",
      "<svg><p><style><img src=x onerror=alert(1)></style>",
      "<svg><script>alert(1)</script></svg><svg onload=alert(1)>",
      "<form><math><mtext></form><form><mglyph><style></math><img src onerror=alert(1)>",
      "<noscript><p title=\"</noscript><img src=x onerror=alert(1)>\">",
      "<template><img src=x onerror=alert(1)></template>",
      "<textarea></textarea><img src=x onerror=alert(1)>",
      "<title><a href=\"</title><img src=x onerror=alert(1)>\">",
      "<xmp><img src=x onerror=alert(1)></xmp>",
      "<!--><img src=x onerror=alert(1)>-->",
      "<!-- --!><img src=x onerror=alert(1)>",
      "<!-- <img src=x onerror=alert(1)>",
      "<![CDATA[<img src=x onerror=alert(1)>]]>",
      "<?xml <img src=x onerror=alert(1)>?>",
      "<a href=\"javascript:alert(1)\">x</a><area href=javascript:alert(1)>",
      "<svg><a xlink:href=javascript:alert(1)><text>x</text></a></svg>",
      "<form action=javascript:alert(1)><button formaction=javascript:alert(1)>x</button></form>",
      "<meta http-equiv=refresh content='0;url=javascript:alert(1)'><base href=http://x/>",
      "<link rel=stylesheet href=http://x/><iframe srcdoc='<script>alert(1)</script>'></iframe>",
      "<div style='background:url(javascript:alert(1))'>x</div>",
      "<div style='-moz-binding:url(x)' onclick=alert(1)>x</div>",
      "<body background=http://x/ onload=alert(1)><table background=http://x/><td background=x>",
      "<b style=\"color:red&quot;onclick=alert(1)\">x</b>",
      "<a href='https://x/\"onclick=alert(1)'>x</a>",
      "<a href=https://x/&quot;onclick=&quot;alert(1)>x</a>",
      "<p dir='ltr\" onclick=alert(1) x=\"'>x</p>",
      "<object data=http://x/><embed src=http://x/><applet code=x></object>",
      "<iframe><img src=x onerror=alert(1)></iframe><noembed><img src=x onerror=y></noembed>",
      "<img alt='<script>alert(1)</script>'>",
      "<img src=data:image/png;base64,AAAA alt='\"><script>alert(1)</script>'>",
      "&lt;script&gt;alert(1)&lt;/script&gt;",
      "<<script>alert(1)//<</script>",
      "<a\nhref\n=\n\"\njavascript:alert(1)\">x</a>",
      "<b/onclick=alert(1)/>x",
      "<custom-element onclick=alert(1)>x</custom-element>",
      "<plaintext><script>alert(1)</script>",
      "<select><style></select><img src=x onerror=alert(1)></style>",
      "+ADw-script+AD4-alert(1)+ADw-/script+AD4-",
      "<meta charset=utf-7>+ADw-script+AD4-alert(1)+ADw-/script+AD4-",
  };
  for (const std::string& source : cases) {
    const HTMLText result = read(source);
    expectHarmless(result.html, source);
    EXPECT_EQ(read(result.html).html, result.html) << source;
  }
}

// Each took minutes or a deep stack in one reader or another.
TEST(HTMLSafety, HugeHostileDocumentsTakeNoTime) {
  const auto repeat = [](std::string_view what, std::size_t times) {
    std::string out;
    out.reserve(what.size() * times);
    for (std::size_t i = 0; i < times; ++i) out += what;
    return out;
  };
  std::string attributes = "<a ";
  for (int i = 0; i < 200'000; ++i) attributes += "b" + std::to_string(i) + "=c ";
  const std::vector<std::string> documents = {
      repeat("<div>", 100'000) + "x" + repeat("</div>", 100'000),
      repeat("<div>", 100'000) + repeat("</b>", 100'000),
      repeat("<span style=color:red>", 100'000) + repeat("</b>x", 100'000),
      repeat("<table><tr><td>", 50'000) + repeat("</p>", 100'000),
      repeat("<ul><li>", 50'000) + repeat("</div>", 100'000),
      "<section><table><td>" + repeat("<div>", 300) + repeat("</section>", 200'000),
      repeat("<pre><div>", 50'000) + repeat("</ul>", 100'000),
      repeat("<", 10'000'000),
      repeat("<a href=", 125'000),
      repeat("<a href=\"", 125'000),
      repeat("<!--", 250'000),
      repeat("<!", 500'000),
      repeat("</", 500'000),
      repeat("<script>", 100'000),
      repeat("<textarea></textare", 50'000),
      repeat("&", 1'000'000),
      repeat("&a", 500'000),
      repeat("<svg><p>", 100'000),
      attributes + ">x</a>",
      repeat("<b style=color:red><p>x", 100'000),
      "<div><b style='font-family:" + std::string(190, 'x') + "'>" +
          repeat("<i style=color:red>", 60) + repeat("<p>x", 100'000),
  };
  for (const std::string& html : documents) {
    const auto begin = std::chrono::steady_clock::now();
    const HTMLText result = read(html);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    // Many times what it takes, far below what growth with the square would take.
    EXPECT_LT(seconds.count(), 20) << html.substr(0, 60);
    EXPECT_LE(result.html.size(), html.size() * 9 + (std::size_t{1} << 20)) << html.substr(0, 60);
    EXPECT_EQ(read(result.html).html, result.html) << html.substr(0, 60);
  }
}

TEST(HTMLSafety, TooLargeADocumentIsRefused) {
  EXPECT_FALSE(HTML().read(NSData(HTML::kMaxBytes + 1, 'x'), {}));
}

TEST(HTMLSafety, WhatItWritesItReadsBackAsTheSame) {
  const std::vector<std::string_view> pieces = {"<p>",
                                                "</p>",
                                                "<div>",
                                                "</div>",
                                                "<b>",
                                                "</b>",
                                                "<i style='color:red'>",
                                                "</i>",
                                                "<table>",
                                                "</table>",
                                                "<tr>",
                                                "</tr>",
                                                "<td>",
                                                "</td>",
                                                "<th colspan=2>",
                                                "<caption>",
                                                "</caption>",
                                                "<tbody>",
                                                "<thead>",
                                                "<ul>",
                                                "</ul>",
                                                "<ol>",
                                                "</ol>",
                                                "<li>",
                                                "</li>",
                                                "<dl>",
                                                "<dt>",
                                                "<dd>",
                                                "</dl>",
                                                "<pre>",
                                                "</pre>",
                                                "<h1>",
                                                "</h1>",
                                                "<br>",
                                                "<hr>",
                                                " ",
                                                "\n",
                                                "a",
                                                "b c",
                                                "  x\n y ",
                                                "&lt;",
                                                "&nbsp;",
                                                "<",
                                                "&",
                                                "<a href=http://a/>",
                                                "</a>",
                                                "<span>",
                                                "</span>",
                                                "<span style='white-space:pre'>",
                                                "<div style='white-space:pre'>",
                                                "<div style='white-space:normal'>",
                                                "<div hidden>",
                                                "<span hidden>",
                                                "<svg>",
                                                "</svg>",
                                                "<textarea>",
                                                "</textarea>",
                                                "<!--",
                                                "-->",
                                                "<script>",
                                                "</script>",
                                                "<font size=3>",
                                                "</font>",
                                                "<center>",
                                                "</center>",
                                                "<body dir=rtl>",
                                                "</body>",
                                                "</html>",
                                                "<head>",
                                                "<img src=data:image/gif;base64,AA>",
                                                "<img alt='a  b'>",
                                                "<blockquote>",
                                                "</blockquote>",
                                                "<plaintext>",
                                                "<title>",
                                                "</title>",
                                                "<select>",
                                                "<option>",
                                                "<section>",
                                                "</section>"};
  std::mt19937 random(20);
  for (int round = 0; round < 20'000; ++round) {
    std::string html;
    const std::size_t count = random() % 24;
    for (std::size_t i = 0; i < count; ++i) html += pieces[random() % pieces.size()];
    const HTMLText once = read(html);
    const HTMLText twice = read(once.html);
    ASSERT_EQ(twice.html, once.html) << html;
    ASSERT_EQ(twice.text, once.text) << html << "\n" << once.html;
    expectHarmless(once.html, html);
  }
}

TEST(HTMLSafety, AnyBytesCanBeRead) {
  std::mt19937 random(21);
  const std::string_view alphabet("<>/=\"'&;!-?#ax \n\0\x80\xC3\xFF", 20);
  for (int round = 0; round < 20'000; ++round) {
    std::string html;
    const std::size_t count = random() % 60;
    for (std::size_t i = 0; i < count; ++i) html += alphabet[random() % alphabet.size()];
    const HTMLText once = read(html);
    ASSERT_EQ(read(once.html).html, once.html) << html;
  }
}

}  // namespace
}  // namespace korvane
