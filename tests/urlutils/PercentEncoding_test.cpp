#include <gtest/gtest.h>

#include <random>

#include "platform/NSString.h"
#include "support/JsonLines.h"
#include "support/SlowCoding.h"
#include "urlutils/RequestUtils.h"

namespace korvane::RequestUtils {
namespace {

using Text = std::optional<std::string>;

using testing::slowlyURLDecoded;
using testing::slowlyURLEncoded;

TEST(URLEncodedString, EdgeCases) {
  const struct {
    const char* text;
    const char* encoded;
  } rows[] = {
      {"", ""},
      {"a b&c=d/é", "a%20b%26c%3Dd%2F%C3%A9"},
      {"50%", "50%25"},
      {"50%25", "50%2525"},  // encoding twice encodes twice
      {"-._~", "-._~"},
      {"!*'\"();:@&=+$,/?%#[]% ",
       "%21%2A%27%22%28%29%3B%3A%40%26%3D%2B%24%2C%2F%3F%25%23%5B%5D%25%20"},
      {"<>\\^`{|}\x7F", "%3C%3E%5C%5E%60%7B%7C%7D%7F"},
      {"\t\r\n", "%09%0D%0A"},
      {"漢🙂", "%E6%BC%A2%F0%9F%99%82"},
      {"azAZ09", "azAZ09"},
      {"\uFEFF", "%EF%BB%BF"},  // like any other character
  };
  for (const auto& row : rows) EXPECT_EQ(URLEncodedString(row.text), row.encoded) << row.text;
  EXPECT_EQ(URLEncodedString(std::string_view("a\0b", 3)), "a%00b");
}

TEST(URLEncodedString, Table) {
  const auto rows = testing::readJsonLines("percent-encoding.jsonl");
  ASSERT_EQ(rows.size(), 120U);
  for (const Value& row : rows) {
    const Value text = row.objectForKey("text");
    const Value encoded = row.objectForKey("encoded");
    EXPECT_EQ(URLEncodedString(text.text()), encoded.text()) << text.text();
  }
}

TEST(URLDecodedString, EdgeCases) {
  const struct {
    const char* text;
    bool plusAsSpace;
    Text decoded;
  } rows[] = {
      {"", false, ""},
      // Of the marks at the beginning one goes, however it came there.
      {"%EF%BB%BFa", false, "a"},
      {"\uFEFFa\uFEFF", false, "a\uFEFF"},
      {"\xEF%BB\xBF%ef%bb%bf", true, "\uFEFF"},
      {"%EF%BB%BF", false, ""},
      {"+%EF%BB%BF", true, " \uFEFF"},
      {"%EF%BB", false, std::nullopt},
      {"a+b%20c", true, "a b c"},
      {"a+b%20c", false, "a+b c"},
      {"%2B", true, "+"},
      {"%2b%2B", false, "++"},
      {"%", false, std::nullopt},
      {"%4", true, std::nullopt},
      {"%4g", false, std::nullopt},
      {"%g4", false, std::nullopt},
      {"%+1", true, std::nullopt},
      {"% 1", false, std::nullopt},
      {"%c3%A9", false, "é"},
      {"%C3", false, std::nullopt},
      {"%FF", false, std::nullopt},
      {"%ED%A0%80", false, std::nullopt},     // half a surrogate pair
      {"%C0%80", false, std::nullopt},        // overlong
      {"%F4%90%80%80", false, std::nullopt},  // beyond the last character
      {"é", false, "é"},
      {"a b", false, "a b"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(URLDecodedString(row.text, row.plusAsSpace), row.decoded) << row.text;
  }
  EXPECT_EQ(URLDecodedString("%00", false), std::string(1, '\0'));
}

TEST(URLDecodedString, Table) {
  const auto rows = testing::readJsonLines("percent-decoding.jsonl");
  ASSERT_EQ(rows.size(), 120U);
  for (const Value& row : rows) {
    const Value text = row.objectForKey("text");
    const Text got = URLDecodedString(text.text(), false);
    EXPECT_EQ(got ? Value(*got) : Value(), row.objectForKey("decoded")) << text.text();
  }
}

TEST(PercentEncoding, AgreesWithTheSlowWay) {
  std::mt19937 random(7);
  const std::string_view pieces[] = {"%", "%4", "%41", "%c3%a9", "+", "a",
                                     "Z", "-",  "é",   "%FF",    " ", "\uFEFF"};
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    for (std::size_t n = random() % 40; n > 0; --n) {
      if (random() % 4 == 0) {
        text += pieces[random() % std::size(pieces)];
      } else {
        text += static_cast<char>(random() % 256);
      }
    }
    ASSERT_EQ(URLEncodedString(text), slowlyURLEncoded(text));
    for (const bool plus : {false, true}) {
      ASSERT_EQ(URLDecodedString(text, plus), slowlyURLDecoded(text, plus)) << text;
    }
    ASSERT_EQ(bytesByReplacingPercentEscapes(URLEncodedString(text)), text);
  }
}

TEST(PercentEncoding, RoundTripOfUTF8) {
  std::mt19937 random(8);
  const std::string_view characters[] = {"a", " ", "+", "%", "&", "é", "漢", "🙂", "\n", "="};
  for (int round = 0; round < 2000; ++round) {
    std::string text;
    for (std::size_t n = random() % 100; n > 0; --n) {
      text += characters[random() % std::size(characters)];
    }
    for (const bool plus : {false, true}) {
      ASSERT_EQ(URLDecodedString(URLEncodedString(text), plus), text);
    }
  }
}

TEST(PercentEncoding, LongTexts) {
  const std::string text(10'000'000, '&');
  const std::string encoded = URLEncodedString(text);
  EXPECT_EQ(encoded.size(), 30'000'000U);
  EXPECT_EQ(URLDecodedString(encoded, true), text);
}

TEST(URLFragment, EdgeCases) {
  EXPECT_EQ(URLFragment("x"), std::nullopt);
  EXPECT_EQ(URLFragment(""), std::nullopt);
  EXPECT_EQ(URLFragment("x#"), "");
  EXPECT_EQ(URLFragment("x#y"), "y");
  EXPECT_EQ(URLFragment("x#y#z"), "y#z");
  EXPECT_EQ(URLFragment("#?"), "?");

  EXPECT_EQ(stringByDeletingURLFragment("x"), "x");
  EXPECT_EQ(stringByDeletingURLFragment("x#"), "x");
  EXPECT_EQ(stringByDeletingURLFragment("x#y#z"), "x");
  EXPECT_EQ(stringByDeletingURLFragment("#y"), "");
}

TEST(StringByAppendingURLFragment, EdgeCases) {
  EXPECT_EQ(stringByAppendingURLFragment("p#y", "x"), "p#yx");
  EXPECT_EQ(stringByAppendingURLFragment("p", "x"), "p#x");
  EXPECT_EQ(stringByAppendingURLFragment("p", std::nullopt), "p");
  EXPECT_EQ(stringByAppendingURLFragment("p#y", std::nullopt), "p#y");
  EXPECT_EQ(stringByAppendingURLFragment("p", ""), "p#");
  EXPECT_EQ(stringByAppendingURLFragment("p#", ""), "p#");
  EXPECT_EQ(stringByAppendingURLFragment("p#", "x"), "p#x");
  EXPECT_EQ(stringByAppendingURLFragment("", "#x"), "##x");
}

}  // namespace
}  // namespace korvane::RequestUtils
