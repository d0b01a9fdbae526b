#include "platform/NSAttributedString.h"

#include <gtest/gtest.h>

#include <random>

#include "platform/NSException.h"
#include "platform/NSString.h"
#include "support/TestPlatform.h"

namespace korvane {
namespace {

std::string html(const NSAttributedString& text, std::size_t location, std::size_t length) {
  const auto data = text.dataFromRange(location, length, NSDocumentType::html);
  EXPECT_TRUE(data);
  return data ? std::string(data->begin(), data->end()) : std::string();
}

std::string html(const NSAttributedString& text) { return html(text, 0, text.length()); }

std::string document(std::string_view body) {
  std::string text = "<!DOCTYPE html>\n<html>\n<head><meta charset=\"utf-8\"></head>\n<body>";
  if (!body.empty()) text.append("<div dir=\"auto\">").append(body).append("</div>");
  return text + "</body>\n</html>\n";
}

TEST(NSAttributedString, PlainTextBecomesADocument) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", ""},
      {"Hello", "Hello"},
      {"<b>&amp;\"'</b>", "&lt;b&gt;&amp;amp;&quot;'&lt;/b&gt;"},
      {"one\ntwo", "one<br>\ntwo"},
      {"one\r\ntwo\rthree", "one<br>\ntwo<br>\nthree"},
      {"a\n\nb\n", "a<br>\n<br>\n</div><div dir=\"auto\">b<br>\n"},
      {"a\n \nb", "a<br>\n&nbsp;<br>\n</div><div dir=\"auto\">b"},
      {"\n\na", "<br>\n<br>\n</div><div dir=\"auto\">a"},
      {"a\n\n\n", "a<br>\n<br>\n<br>\n"},
      {"a\n\n\n  b", "a<br>\n<br>\n<br>\n</div><div dir=\"auto\">&nbsp; b"},
      {"a\u2028b\u2029c\u0085d\vе\ff", "a<br>\nb<br>\nc<br>\nd<br>\nе<br>\nf"},
      {"a  b   c", "a &nbsp;b &nbsp; c"},
      {" a ", "&nbsp;a&nbsp;"},
      {"a \n  b", "a&nbsp;<br>\n&nbsp; b"},
      {"a\tb", "a<span style=\"white-space:pre\">\t</span>b"},
      {"\t\t a \t",
       "<span style=\"white-space:pre\">\t\t</span>&nbsp;a "
       "<span style=\"white-space:pre\">\t</span>"},
      {"\u00A0", "&nbsp;"},
      {std::string("a\0b\x01\x1B\x7F\u0080c", 9), "abc"},
      {"Grüße 你好 🦊", "Grüße 你好 🦊"},
      {"a\xFFz", "a\uFFFDz"},
      {"\xC3(\xE2\x82(\xF0\x9F\x98", "\uFFFD(\uFFFD(\uFFFD"},
      {"\xED\xA0\x80\xC0\xAF\xF5", "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\uFFFE\U0001FFFF\uFDD0\uFEFF", "\uFFFD\uFFFD\uFFFD\uFEFF"},
  };
  for (const auto& [text, body] : cases) {
    EXPECT_EQ(html(NSAttributedString(text)), document(body)) << text;
    EXPECT_EQ(NSAttributedString(text).string(), text);
  }
}

TEST(NSAttributedString, StylesBecomeElements) {
  const auto link = NSURL::URLWithString("https://a.example/?x=1&y='2'");
  ASSERT_TRUE(link);
  const NSAttributedString text(std::vector<NSAttributedString::Run>{
      {"plain ", {}},
      {"bold", {.bold = true}},
      {"italic", {.italic = true}},
      {"under", {.underline = true}},
      {"red", {.color = 0xFF0000}},
      {"dark", {.color = 0x00000A}},
      {"", {.bold = true}},
      {"all", {.bold = true, .italic = true, .underline = true, .color = 0x123456, .link = link}},
  });
  EXPECT_EQ(text.string(), "plain bolditalicunderreddarkall");
  EXPECT_EQ(html(text), document("plain <b>bold</b><i>italic</i><u>under</u>"
                                 "<span style=\"color:#ff0000\">red</span>"
                                 "<span style=\"color:#00000a\">dark</span>"
                                 "<a href=\"https://a.example/?x=1&amp;y='2'\"><b><i><u>"
                                 "<span style=\"color:#123456\">all</span></u></i></b></a>"));
}

TEST(NSAttributedString, OnlyLinksThatLeadSomewhereBecomeAnchors) {
  for (const char* link : {"javascript:alert(1)", "data:text/html,x", "vbscript:x",
                           "file:///etc/passwd", "korvane:x", "relative"}) {
    const NSAttributedString text(
        std::vector<NSAttributedString::Run>{{"x", {.link = NSURL::URLWithString(link)}}});
    EXPECT_EQ(html(text), document("x")) << link;
  }
  EXPECT_TRUE(isLinkForDocuments("MAILTO:a@b.example"));
  EXPECT_TRUE(isLinkForDocuments("http:"));
  EXPECT_FALSE(isLinkForDocuments("http"));
  EXPECT_FALSE(isLinkForDocuments(""));
  EXPECT_FALSE(isLinkForDocuments(" http://x"));
  EXPECT_FALSE(isLinkForDocuments("httpx://x"));
}

TEST(NSAttributedString, SpacesAndBreaksCountAcrossRuns) {
  const NSAttributedString text(std::vector<NSAttributedString::Run>{
      {"a ", {}}, {" b\r", {.bold = true}}, {"\nc ", {}}, {"\nd", {}}});
  EXPECT_EQ(html(text), document("a <b>&nbsp;b<br>\n</b>c&nbsp;<br>\nd"));
}

TEST(NSAttributedString, StylesDoNotReachAcrossParagraphs) {
  const NSAttributedString text(std::vector<NSAttributedString::Run>{
      {"a", {.bold = true}}, {"\n\nb\n\n", {.italic = true}}, {"c", {.underline = true}}});
  EXPECT_EQ(html(text),
            document("<b>a</b><i><br>\n<br>\n</i></div><div dir=\"auto\"><i>b<br>\n<br>\n"
                     "</i></div><div dir=\"auto\"><u>c</u>"));
}

TEST(NSAttributedString, APartBecomesADocumentOfItsOwn) {
  const NSAttributedString text(std::vector<NSAttributedString::Run>{
      {"one ", {}}, {"two", {.bold = true}}, {" three", {.italic = true}}});
  EXPECT_EQ(html(text, 0, 3), document("one"));
  EXPECT_EQ(html(text, 3, 3), document("&nbsp;<b>tw</b>"));
  EXPECT_EQ(html(text, 5, 2), document("<b>wo</b>"));
  EXPECT_EQ(html(text, 6, 7), document("<b>o</b><i> three</i>"));
  EXPECT_EQ(html(text, 13, 0), document(""));
  EXPECT_EQ(html(NSAttributedString("ü"), 0, 1), document("\uFFFD"));
  EXPECT_EQ(html(NSAttributedString("ü"), 1, 1), document("\uFFFD"));
}

TEST(NSAttributedString, ARangeOutsideOfTheTextIsRaised) {
  const NSAttributedString text("abc");
  const std::vector<std::pair<std::size_t, std::size_t>> ranges = {
      {0, 4}, {4, 0}, {3, 1}, {1, SIZE_MAX}, {SIZE_MAX, 1}, {SIZE_MAX, SIZE_MAX}};
  for (const auto& [location, length] : ranges) {
    try {
      text.dataFromRange(location, length, NSDocumentType::html);
      ADD_FAILURE() << location << ' ' << length;
    } catch (const NSException& exception) {
      EXPECT_EQ(exception.name(), NSRangeException);
    }
  }
}

class TwoTexts : public HTMLReader {
 public:
  std::optional<HTMLText> read(const NSData& html, std::string_view) override {
    if (html.empty()) return std::nullopt;
    return HTMLText{"a <b>", "<p>a &lt;b&gt;</p>"};
  }
};

TEST(NSAttributedString, OfHTMLIsWhatTheReaderMadeOfIt) {
  testing::TestPlatform platform;
  platform.services.html = std::make_shared<TwoTexts>();
  platform.install();
  const auto text = NSAttributedString::initWithHTML({'x'});
  ASSERT_TRUE(text);
  EXPECT_EQ(text->string(), "a <b>");
  EXPECT_EQ(html(*text), "<p>a &lt;b&gt;</p>");
  EXPECT_EQ(html(*text, 2, 3), document("&lt;b&gt;"));
  EXPECT_THROW(text->dataFromRange(0, 6, NSDocumentType::html), NSException);
  EXPECT_FALSE(NSAttributedString::initWithHTML({}));
}

TEST(NSAttributedString, WithoutAReaderThereIsNoTextOfHTML) {
  Platform::install(Platform());
  EXPECT_FALSE(NSAttributedString::initWithHTML({'x'}));
}

// Whatever the bytes are, the document is UTF-8, has no other tags than those of lines, tabs and
// paragraphs, and is the same again.
TEST(NSAttributedString, AnyBytesBecomeADocument) {
  std::mt19937 random(1);
  for (int round = 0; round < 5'000; ++round) {
    std::string bytes;
    const std::size_t count = random() % 40;
    for (std::size_t i = 0; i < count; ++i) {
      bytes += static_cast<char>(random() % 4 == 0 ? "<>&\" \n\r\t"[random() % 8] : random());
    }
    const std::string result = html(NSAttributedString(bytes));
    ASSERT_TRUE(isUTF8(result));
    ASSERT_EQ(result, html(NSAttributedString(bytes)));
    const std::string body = result.substr(document("").find("</body>"));
    for (std::size_t at = body.find('<'); at < body.rfind("</body>"); at = body.find('<', at + 1)) {
      const std::string tag = body.substr(at, body.find('>', at) + 1 - at);
      ASSERT_TRUE(tag == "<br>" || tag == "<div dir=\"auto\">" || tag == "</div>" ||
                  tag == "<span style=\"white-space:pre\">" || tag == "</span>")
          << body;
    }
    ASSERT_EQ(body.find_first_of(std::string("\0\x01\x1B\x7F", 4)), body.npos);
  }
}

}  // namespace
}  // namespace korvane
