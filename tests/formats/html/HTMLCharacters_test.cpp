#include "formats/html/HTMLCharacters.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace korvane {
namespace {

using Cases = std::vector<std::pair<std::string_view, std::string_view>>;

std::string textOf(std::string_view bytes) { return htmlText(NSData(bytes.begin(), bytes.end())); }

TEST(HTMLCharacters, Encodings) {
  using namespace std::string_view_literals;
  const Cases cases = {
      {"", ""},
      {"a", "a"},
      {"\xC3\xA4", "ä"},
      {"\xEF\xBB\xBF\xC3\xA4", "ä"},
      {"\xEF\xBB\xBF", ""},
      {"\xE4\x80", "ä€"},
      {"\xFF\xFE\xE4\0"sv, "ä"},
      {"\xFE\xFF\0\xE4"sv, "ä"},
      {"\xFF\xFE", ""},
      {"\xFF\xFE\xE4", "\uFFFD"},
      {"<\0b\0>\0\xE4\0"sv, "<b>ä"},
      {"\0<\0b\0>\0\xE4"sv, "<b>ä"},
      {"<meta charset=iso-8859-2>\xB1", "<meta charset=iso-8859-2>ą"},
      {"<META http-equiv=x content='text/html; CHARSET = \"koi8-r\"'>\xC1",
       "<META http-equiv=x content='text/html; CHARSET = \"koi8-r\"'>а"},
      {"<meta charset=shift_jis>\x82\xA0", "<meta charset=shift_jis>あ"},
      {"<meta charset=nonsense>\xE4", "<meta charset=nonsense>ä"},
      {"<meta charset=utf-8>\xE4z", "<meta charset=utf-8>\uFFFDz"},
      {"<meta charset=utf-16>\xC3\xA4", "<meta charset=utf-16>ä"},  // in ASCII it cannot be
      {"<meta charset=iso-8859-1>\xC3\xA4", "<meta charset=iso-8859-1>ä"},
      {"<meta charset><meta charset=>\xE4", "<meta charset><meta charset=>ä"},
      {"a\r\nb\rc\n", "a\nb\nc\n"},
      {"\r\r\n\r", "\n\n\n"},
      {"a\0b"sv, "ab"},
  };
  for (const auto& [bytes, text] : cases) EXPECT_EQ(textOf(bytes), text) << text;
}

TEST(HTMLCharacters, References) {
  const Cases cases = {
      {"", ""},
      {"&", "&"},
      {"&&amp;&", "&&&"},
      {"&amp;lt;", "&lt;"},
      {"&amp", "&"},
      {"&ampx", "&x"},
      {"&AMP;&Amp;", "&&Amp;"},
      {"&notit;&notin;&not", "¬it;∉¬"},
      {"&copy2&copy=2", "©2©=2"},
      {"&apos;&apos", "'&apos"},
      {"&NotEqualTilde;&fjlig;", "\u2242\u0338fj"},
      {"&unknown;&;&#;&#x;&#xg;", "&unknown;&;&#;&#x;&#xg;"},
      {"&#65;&#x41;&#X41&#65x", "AAAAx"},
      {"&#0;&#xD800;&#x110000;&#99999999999999;", "\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"&#128;&#x92;&#x81;", "€’\u0081"},
      {"&#x1F375;", "🍵"},
      {"&CounterClockwiseContourIntegral;", "∳"},
      {"&\xC3\xA4;", "&ä;"},
  };
  for (const auto& [text, decoded] : cases) {
    EXPECT_EQ(decodeCharacterReferences(text, HTMLPlace::text), decoded) << text;
  }
  const Cases attributes = {
      {"?a=1&copy=2", "?a=1&copy=2"}, {"?a&copyx", "?a&copyx"},
      {"?a&copy;=2", "?a©=2"},        {"?a&copy", "?a©"},
      {"?a&copy&b", "?a©&b"},         {"?a&#65=2", "?aA=2"},
  };
  for (const auto& [text, decoded] : attributes) {
    EXPECT_EQ(decodeCharacterReferences(text, HTMLPlace::attribute), decoded) << text;
  }
}

TEST(HTMLCharacters, Controls) {
  EXPECT_EQ(withoutControlCharacters(""), "");
  EXPECT_EQ(withoutControlCharacters("\a\x1B\x7F\u0080\u009F"), "");
  EXPECT_EQ(withoutControlCharacters("a\tb\nc\fd\re"), "a\tb\nc d e");
  EXPECT_EQ(withoutControlCharacters("\u00A0é\u200B"), "\u00A0é\u200B");
  EXPECT_EQ(withoutControlCharacters("\xC2"), "\xC2");
}

TEST(HTMLCharacters, Escaped) {
  std::string out = "x";
  appendHTMLEscaped("", out);
  EXPECT_EQ(out, "x");
  appendHTMLEscaped("<a b=\"c\">&amp;'ä", out);
  EXPECT_TRUE(out.starts_with("x&lt;a b=&quot;c&quot;&gt;&amp;amp;")) << out;
  EXPECT_EQ(decodeCharacterReferences(out, HTMLPlace::attribute), "x<a b=\"c\">&amp;'ä");
}

TEST(HTMLCharacters, Spaces) {
  for (const char c : std::string_view(" \n\t\f\r")) EXPECT_TRUE(isHTMLSpace(c));
  for (const char c : std::string_view("\0a\v\xA0", 4)) EXPECT_FALSE(isHTMLSpace(c));
}

}  // namespace
}  // namespace korvane
