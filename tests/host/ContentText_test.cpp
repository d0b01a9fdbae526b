#include "host/ContentText.h"

#include <gmock/gmock.h>

#include "linux/LinuxPlatform.h"
#include "support/JsonLines.h"

namespace korvane {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using Content = ShareRequest::Content;

Content text(std::string bytes) { return {Content::Kind::text, std::move(bytes)}; }
Content html(std::string bytes) { return {Content::Kind::html, std::move(bytes)}; }

std::string documentOf(const NSAttributedString& styled) {
  const auto data = styled.dataFromRange(0, styled.length(), NSDocumentType::html).value();
  return {data.begin(), data.end()};
}

class ContentText : public ::testing::Test {
 protected:
  ContentText() { Platform::install(linuxPlatform()); }
  ~ContentText() override { Platform::install(Platform()); }
};

TEST_F(ContentText, IsAbsentWithoutAnything) {
  EXPECT_FALSE(contentText({}));
  EXPECT_FALSE(contentText({text(""), html("")}));
}

TEST_F(ContentText, OnePieceIsThatText) {
  EXPECT_EQ(contentText({text("a\n<b>")})->string(), "a\n<b>");
  EXPECT_EQ(contentText({text(""), text("x")})->string(), "x");
  const auto styled = contentText({html("<p>a <b>b</b></p>")});
  EXPECT_THAT(styled->string(), HasSubstr("a b"));
  EXPECT_THAT(documentOf(*styled), HasSubstr("a <b>b</b>"));
}

TEST_F(ContentText, PlainPiecesStandOnLinesOfTheirOwn) {
  EXPECT_EQ(contentText({text("a"), text("b\n"), text("c")})->string(), "a\nb\nc");
}

TEST_F(ContentText, AddressesInPlainTextAreLinks) {
  const std::string document =
      documentOf(*contentText({text("See https://a.example/?x=1&y, www.b.example or joe@c.com.")}));
  EXPECT_THAT(document, HasSubstr("See <a href=\"https://a.example/?x=1&amp;y\">"
                                  "https://a.example/?x=1&amp;y</a>, "
                                  "<a href=\"http://www.b.example\">www.b.example</a> or "
                                  "<a href=\"mailto:joe@c.com\">joe@c.com</a>."));
  for (const char* other :
       {"file:///etc/passwd", "javascript:alert(1)", "setup.py", "ssh://a.com"}) {
    EXPECT_THAT(documentOf(*contentText({text(other)})), Not(HasSubstr("<a "))) << other;
  }
  EXPECT_THAT(documentOf(*contentText({text("www.a.com"), text("www.b.com")})),
              HasSubstr("<a href=\"http://www.a.com\">www.a.com</a><br>\n"
                        "<a href=\"http://www.b.com\">www.b.com</a>"));
}

// What stands in the body of the document that a text becomes.
TEST_F(ContentText, EveryRowOfTheTable) {
  const auto rows = testing::readJsonLines("texts.jsonl");
  ASSERT_EQ(rows.size(), 154U);
  for (const Value& row : rows) {
    const std::string given(row.objectForKey("text").text());
    const auto shared = contentText({text(given)});
    ASSERT_TRUE(shared) << given;
    const std::string document = documentOf(*shared);
    const std::size_t begin = document.find("<body>") + 6;
    const std::size_t end = document.rfind("</body>");
    ASSERT_LE(begin, end) << document;
    EXPECT_EQ(document.substr(begin, end - begin), row.objectForKey("body").text()) << given;
  }
}

TEST_F(ContentText, ParagraphsAndTabsOfPlainTextStayInHTML) {
  const auto styled = contentText({text("a\tb\n\n\xD7\x90"), html("<b>c</b>")});
  EXPECT_THAT(styled->string(), AllOf(HasSubstr("a\tb\n"), HasSubstr("\xD7\x90\n")));
  const std::string document = documentOf(*styled);
  EXPECT_THAT(document, HasSubstr("<div dir=\"auto\">\xD7\x90"));
  EXPECT_THAT(document, HasSubstr("a<span style=\"white-space:pre\">\t</span>b"));
}

TEST_F(ContentText, TextAndHTMLKeepTheirOrderAndStyle) {
  const auto styled =
      contentText({text("1 <&\n2"), html("<body bgcolor=\"#ff0000\"><i>3</i></body>"), text("4"),
                   html("<b>5</b><script>6</script>")});
  ASSERT_TRUE(styled);
  EXPECT_THAT(styled->string(), ::testing::ContainsRegex("1 <&\n2\n*3\n*4\n*5"));
  const std::string document = documentOf(*styled);
  std::size_t at = 0;
  for (const char* part :
       {"<body>", "1 &lt;&amp;<br>", "2", "<div style=\"background-color:#ff0000\">", "<i>3</i>",
        "</div>", "<div>", "4", "</div>", "<b>5</b>", "</body>"}) {
    at = document.find(part, at);
    ASSERT_NE(at, std::string::npos) << part << " in " << document;
  }
  EXPECT_THAT(document, Not(HasSubstr("6")));
  EXPECT_EQ(document.find("<html"), document.rfind("<html"));
  EXPECT_EQ(document.find("<body"), document.rfind("<body"));
}

TEST_F(ContentText, HTMLKeepsItsEncoding) {
  const auto styled = contentText({html("<meta charset=iso-8859-2><p>\xB1</p>"), text("\xC3\xA4")});
  EXPECT_THAT(styled->string(), HasSubstr("\xC4\x85"));  // a with ogonek
  EXPECT_THAT(styled->string(), HasSubstr("\xC3\xA4"));
}

TEST_F(ContentText, MarksOfABodyInTheTextAreText) {
  const auto styled =
      contentText({html("<p title=\"</body>\">&lt;/body&gt;</p>"), text("</body><body>x")});
  EXPECT_THAT(styled->string(), HasSubstr("</body>"));
  EXPECT_THAT(styled->string(), HasSubstr("</body><body>x"));
}

TEST_F(ContentText, WhatCannotBeReadAsHTMLIsText) {
  Platform::install(Platform());  // without a reader
  EXPECT_EQ(contentText({html("<b>x</b>")})->string(), "<b>x</b>");
  EXPECT_EQ(contentText({html("caf\xE9")})->string(), "caf\xC3\xA9");
  EXPECT_EQ(contentText({text("a"), html("<b>x</b>")})->string(), "a\n<b>x</b>");
}

}  // namespace
}  // namespace korvane
