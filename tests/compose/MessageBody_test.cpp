#include "compose/MessageBody.h"

#include <gmock/gmock.h>

#include "formats/html/HTML.h"
#include "support/TestPlatform.h"

namespace korvane {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class Body : public ::testing::Test {
 protected:
  Body() {
    platform.services.html = std::make_shared<HTML>();
    platform.install();
  }
  MessageBody body(std::string_view html, std::string_view plain = "") {
    return messageBody(html, plain, leftOut);
  }
  testing::TestPlatform platform;
  LeftOutList leftOut;
};

std::size_t count(std::string_view text, std::string_view word) {
  std::size_t found = 0;
  for (auto at = text.find(word); at != text.npos; at = text.find(word, at + 1)) ++found;
  return found;
}

TEST_F(Body, NothingIsAnEmptyDocument) {
  EXPECT_EQ(body("").plain, "");
  EXPECT_THAT(body("").html, HasSubstr("<body></body>"));
}

TEST_F(Body, SeveralPiecesBecomeOneDocument) {
  const auto made = body(
      "<!DOCTYPE html>\n<html><head><title>t</title></head><body style=\"color:red\">One</body>"
      "</html><br/><HTML><body>Two</body></HTML>\n<br/>"
      "<a href=\"https://a.example/\">https://a.example/</a>"
      "<a href=\"https://b.example/\">https://b.example/</a>");
  EXPECT_EQ(count(made.html, "<html"), 1U);
  EXPECT_EQ(count(made.html, "</html>"), 1U);
  EXPECT_EQ(count(made.html, "<body"), 1U);
  EXPECT_THAT(made.html, HasSubstr("color:red"));
  EXPECT_EQ(made.plain, "One\n\nTwo\n\nhttps://a.example/\nhttps://b.example/");
}

TEST_F(Body, ActiveContentGoes) {
  const auto made = body(
      "<p onclick=x>a<script>evil()</script><img src=http://t.example/p.gif>"
      "<a href='javascript:evil()'>b</a>");
  for (const char* word : {"onclick", "script", "evil", "t.example"}) {
    EXPECT_THAT(made.html, Not(HasSubstr(word)));
  }
}

TEST_F(Body, AnEndedDocumentDoesNotEndTheMessage) {
  const auto made = body("a</body></html>b<!DOCTYPE html><html>c</html>d");
  EXPECT_EQ(made.plain, "ab\nc\nd");
}

TEST_F(Body, LinksKeepTheirAddressInThePlainForm) {
  EXPECT_EQ(body("<a href='https://a.example/x?a=1&amp;b=2'>Title &amp; more</a>, then").plain,
            "Title & more <https://a.example/x?a=1&b=2>, then");
  EXPECT_EQ(body("<a href='https://a.example/'>a.example</a>").plain, "a.example");
  EXPECT_EQ(body("<a href='mailto:ann@a.example'>ann@a.example</a>").plain, "ann@a.example");
  EXPECT_EQ(body("<a href='https://a.example/'><img src='data:image/gif;base64,R0lGODlhAQABAAAAACw="
                 "'></a>")
                .plain,
            "<https://a.example/>");
}

TEST_F(Body, ThePlainFormThatIsGivenStays) {
  const auto made = body("<b>styled</b>", "plain\r\nlines");
  EXPECT_EQ(made.plain, "plain\nlines");
  EXPECT_THAT(made.html, HasSubstr("<b>styled</b>"));
}

TEST_F(Body, PlainTextAloneBecomesHTML) {
  const auto made = body("", "a < b\nc");
  EXPECT_EQ(made.plain, "a < b\nc");
  EXPECT_THAT(made.html, HasSubstr("a &lt; b<br>\nc"));
}

TEST_F(Body, ADocumentInAnotherEncodingThanItSaysIsReadAsTheURLHasIt) {
  EXPECT_EQ(body("<html><head><meta charset=iso-8859-1></head><body>\u00fc</body></html>").plain,
            "\u00fc");
}

TEST_F(Body, WhatIsTooLargeIsLeftOut) {
  const auto made = body(std::string(HTML::kMaxBytes + 1, 'a'));
  EXPECT_EQ(made.plain, "");
  ASSERT_EQ(leftOut.size(), 1U);
}

TEST_F(Body, ManyLinksAndDocumentsTakeLinearTime) {
  std::string html;
  for (int i = 0; i < 20000; ++i) html += "<html>a</html><a href='https://a.example/'>b</a>";
  EXPECT_EQ(count(body(html).html, "<a "), 20000U);
  EXPECT_THAT(leftOut, IsEmpty());
}

}  // namespace
}  // namespace korvane
