#include "text/UTF8.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <string>
#include <utility>

#include "support/SlowCoding.h"

namespace korvane {
namespace {

bool isScalar(char32_t code) { return code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF); }

TEST(UTF8, EveryCharacterIsReadAsItWasWritten) {
  for (char32_t code = 0; code <= 0x10FFFF; ++code) {
    if (!isScalar(code)) continue;
    std::string text;
    appendUTF8(code, text);
    ASSERT_EQ(text.size(), code < 0x80 ? 1U : code < 0x800 ? 2U : code < 0x10000 ? 3U : 4U);
    ASSERT_TRUE(isValidUTF8(text)) << static_cast<unsigned>(code);
    const UTF8Character read = firstUTF8Character(text + "a");
    ASSERT_TRUE(read.isValid) << static_cast<unsigned>(code);
    ASSERT_TRUE(read.code == code);
    ASSERT_EQ(read.size, text.size());
    ASSERT_EQ(isUTF8Continuation(text[0]), false);
    for (std::size_t i = 1; i < text.size(); ++i) ASSERT_TRUE(isUTF8Continuation(text[i]));
  }
}

// How many bytes are taken together as one thing that is not UTF-8.
TEST(UTF8, WhatBreaksOff) {
  const std::pair<std::string_view, std::size_t> rows[] = {
      {"\x80", 1},
      {"\xBF\xBF", 1},
      {"\xC0\x80", 1},
      {"\xC1\xBF", 1},
      {"\xC3", 1},
      {"\xC3\xC3", 1},
      {"\xC3z", 1},
      {"\xE0\x9F\xBF", 1},
      {"\xE2\x82", 2},
      {"\xE2\x82z", 2},
      {"\xE2\xC2\xA0", 1},
      {"\xED\xA0\x80", 1},
      {"\xF0\x8F\xBF\xBF", 1},
      {"\xF0\x9F\x98", 3},
      {"\xF0\x9F\x98z", 3},
      {"\xF0\x9F", 2},
      {"\xF4\x90\x80\x80", 1},
      {"\xF5\x80\x80\x80", 1},
      {"\xFF", 1},
  };
  for (const auto& [bytes, size] : rows) {
    const UTF8Character character = firstUTF8Character(bytes);
    EXPECT_FALSE(character.isValid) << bytes;
    EXPECT_EQ(character.size, size) << bytes;
    EXPECT_TRUE(character.code == kReplacementCharacter);
  }
}

// Every beginning of two bytes, and of three with the interesting second ones.
TEST(UTF8, FirstCharacterAgreesWithTheSlowWay) {
  for (unsigned first = 0; first < 256; ++first) {
    for (unsigned second = 0; second < 256; ++second) {
      for (const std::string_view rest : {"", "\x80", "\x80\x80", "\xBF\xBF", "z"}) {
        const std::string text = std::string(1, static_cast<char>(first)) +
                                 static_cast<char>(second) + std::string(rest);
        const UTF8Character character = firstUTF8Character(text);
        ASSERT_LE(character.size, text.size());
        ASSERT_EQ(character.isValid, testing::slowlyIsUTF8(text.substr(0, character.size)));
        for (std::size_t size = 1; size <= text.size() && !character.isValid; ++size) {
          ASSERT_FALSE(testing::slowlyIsUTF8(text.substr(0, size))) << first << ' ' << second;
        }
      }
    }
  }
}

TEST(UTF8, IsValid) {
  const std::pair<std::string_view, bool> rows[] = {
      {"", true},
      {"abc", true},
      {"é漢🙂", true},
      {"\x7F", true},
      {"\x80", false},
      {"\xC0\x80", false},
      {"\xC1\xBF", false},
      {"\xC2\x80", true},
      {"\xC2", false},
      {"\xE0\x9F\xBF", false},
      {"\xE0\xA0\x80", true},
      {"\xED\x9F\xBF", true},
      {"\xED\xA0\x80", false},
      {"\xED\xBF\xBF", false},
      {"\xEE\x80\x80", true},
      {"\xEF\xBF\xBF", true},
      {"\xF0\x8F\xBF\xBF", false},
      {"\xF0\x90\x80\x80", true},
      {"\xF4\x8F\xBF\xBF", true},
      {"\xF4\x90\x80\x80", false},
      {"\xF5\x80\x80\x80", false},
      {"\xF8\x88\x80\x80\x80", false},
      {"\xFF", false},
      {"\xE2\x82", false},
      {"\xE2\x82"
       "a",
       false},
  };
  for (const auto& [bytes, is] : rows) {
    EXPECT_EQ(isValidUTF8(bytes), is);
    // At every distance from the beginning and the end.
    for (std::size_t before = 0; before < 40; ++before) {
      const std::string text = std::string(before, 'a') + std::string(bytes);
      EXPECT_EQ(isValidUTF8(text), is);
      EXPECT_EQ(isValidUTF8(text + std::string(before, 'b')), is);
    }
  }
}

TEST(UTF8, IsValidAgreesWithTheSlowWay) {
  std::mt19937 random(5);
  const std::string_view pieces[] = {"a",      "é",      "漢",     "🙂",
                                     "\u0800", "\uFFFF", "\u07FF", "zzzzzzzz"};
  std::size_t good = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    for (std::size_t n = random() % 30; n > 0; --n) text += pieces[random() % std::size(pieces)];
    if (!text.empty() && round % 2 == 0) {
      text[random() % text.size()] = static_cast<char>(random() % 256);
    }
    const bool is = testing::slowlyIsUTF8(text);
    ASSERT_EQ(isValidUTF8(text), is);
    good += is ? 1 : 0;
  }
  EXPECT_GT(good, 9000U);
  EXPECT_LT(good, 15000U);
}

TEST(UTF8, OfUTF16) {
  const auto converted = [](std::u16string_view units) {
    std::string bytes;
    for (const char16_t unit : units) {
      bytes += static_cast<char>(unit >> 8);
      bytes += static_cast<char>(unit & 0xFF);
    }
    return utf8OfUTF16(reinterpret_cast<const unsigned char*>(bytes.data()), units.size());
  };
  EXPECT_EQ(converted(u""), "");
  EXPECT_EQ(converted(u"aé漢🙂"), "aé漢🙂");
  const char16_t high = 0xD83D;
  const char16_t low = 0xDE42;
  EXPECT_EQ(converted(std::u16string{high, low}), "🙂");
  for (const std::u16string& half :
       {std::u16string{high}, std::u16string{low}, std::u16string{high, u'a'},
        std::u16string{high, high, low}, std::u16string{low, high}}) {
    std::string expected;
    for (std::size_t i = 0; i < half.size(); ++i) {
      const bool pair = i + 1 < half.size() && half[i] == high && half[i + 1] == low;
      expected += pair ? "🙂" : half[i] == u'a' ? "a" : kReplacementUTF8;
      i += pair ? 1 : 0;
    }
    EXPECT_EQ(converted(half), expected);
  }
}

}  // namespace
}  // namespace korvane
