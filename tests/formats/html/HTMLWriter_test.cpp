#include "formats/html/HTMLWriter.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace korvane {
namespace {

HTMLToken text(std::string_view text) {
  HTMLToken token;
  token.text = text;
  return token;
}
HTMLToken start(std::string_view name) {
  HTMLToken token;
  token.kind = HTMLToken::Kind::startTag;
  token.name = name;
  return token;
}
HTMLToken end(std::string_view name) {
  HTMLToken token;
  token.kind = HTMLToken::Kind::endTag;
  token.name = name;
  return token;
}

// What stands between the body's tags.
std::string bodyOf(HTMLWriter& writer) {
  const std::string html = writer.takeHTML();
  const std::size_t begin = html.find("<body>\n") + 7;
  return html.substr(begin, html.rfind("\n</body>") - std::min(begin, html.rfind("\n</body>")));
}

TEST(HTMLWriter, NothingIsAnEmptyDocument) {
  HTMLWriter writer(0);
  writer.finish();
  EXPECT_EQ(writer.takeHTML(),
            "<!DOCTYPE html>\n<html>\n<head><meta charset=\"utf-8\"></head>\n<body>\n\n</body>\n"
            "</html>\n");
  EXPECT_EQ(writer.takeText(), "");
}

TEST(HTMLWriter, WhatIsOpenIsClosed) {
  HTMLWriter writer(100);
  for (const HTMLToken& token :
       {start("div"), start("b"), text("a"), start("table"), start("td"), text("b"), end("b"),
        end("p"), end("nothing"), start("nothing"), text("c")}) {
    writer.write(token);
  }
  writer.finish();
  EXPECT_EQ(bodyOf(writer),
            "<div><b>a</b>\n<table>\n<tr>\n<td><b>bc</b></td>\n</tr>\n</table>\n</div>");
  EXPECT_EQ(writer.takeText(), "a\nbc");
}

TEST(HTMLWriter, ControlCharactersOfTextsGo) {
  HTMLWriter writer(100);
  writer.write(text("a\x01\x7F<b"));
  writer.finish();
  EXPECT_EQ(bodyOf(writer), "a&lt;b");
}

// Whatever the tokens: all elements that are opened are closed, in order, and no more is written
// than is allowed.
TEST(HTMLWriter, AnyTokensGiveATree) {
  const std::vector<std::string_view> names = {
      "p",    "div",   "b",     "a",    "font", "ul",   "ol",    "li",     "dl",
      "dd",   "table", "tbody", "tr",   "td",   "th",   "h1",    "h2",     "pre",
      "br",   "hr",    "span",  "ruby", "rb",   "rt",   "math",  "mi",     "svg",
      "text", "video", "img",   "body", "q",    "code", "style", "caption"};
  std::mt19937 random(7);
  for (int round = 0; round < 5000; ++round) {
    const std::size_t count = 1 + random() % 40;
    HTMLWriter writer(count * 4);
    for (std::size_t i = 0; i < count; ++i) {
      const std::string_view name = names[random() % names.size()];
      switch (random() % 3) {
        case 0:
          writer.write(start(name));
          break;
        case 1:
          writer.write(end(name));
          break;
        default:
          writer.write(text(random() % 2 == 0 ? "x" : " \n"));
          break;
      }
    }
    writer.finish();
    const std::string html = writer.takeHTML();
    ASSERT_LE(html.size(), count * 64 + (std::size_t{1} << 18));
    HTMLTokens tokens(html);
    HTMLToken token;
    std::vector<std::string> open;
    while (tokens.next(token)) {
      if (token.kind == HTMLToken::Kind::startTag && token.name != "br" && token.name != "hr" &&
          token.name != "meta" && token.name != "img") {
        open.push_back(token.name);
      } else if (token.kind == HTMLToken::Kind::endTag) {
        ASSERT_FALSE(open.empty()) << html;
        ASSERT_EQ(open.back(), token.name) << html;
        open.pop_back();
      }
    }
    ASSERT_TRUE(open.empty()) << html;
  }
}

}  // namespace
}  // namespace korvane
