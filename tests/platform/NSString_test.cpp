#include "platform/NSString.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <random>

namespace korvane {
namespace {

constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
constexpr auto kMin = std::numeric_limits<std::int64_t>::min();

TEST(NSString, IntegerValue) {
  const std::pair<std::string_view, std::int64_t> rows[] = {
      {"", 0},
      {"12", 12},
      {"-12", -12},
      {"+12", 12},
      {"  \t\n\v\f\r12abc", 12},
      {"\u00A0\u3000\u200B\u20287", 7},
      {"12.9", 12},
      {"1e3", 1},
      {"0x10", 0},
      {"007", 7},
      {"--1", 0},
      {"+-1", 0},
      {"- 1", 0},
      {"abc", 0},
      {"١٢", 0},  // ASCII digits only
      {"1١", 1},
      {"9223372036854775807", kMax},
      {"9223372036854775808", kMax},
      {"-9223372036854775808", kMin},
      {"-9223372036854775809", kMin},
      {"99999999999999999999999", kMax},
      {"-99999999999999999999999", kMin},
      {"\xFF"
       "1",
       0},
  };
  for (const auto& [text, value] : rows) EXPECT_EQ(integerValue(text), value) << text;
}

TEST(NSString, ReplacingDecimalDigits) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"", ""},
      {"a1é", "a1é"},
      {"٠١٢٣٤٥٦٧٨٩", "0123456789"},
      {"۲۰۲۶-०१", "2026-01"},
      {"０９：", "09："},
      {"\U0001D7CE\U0001D7D7\U0001D7D8\U0001D7FF", "0909"},
      {"\U0001FBF9\U0001FBFA", "9\U0001FBFA"},
      {"\U00011F50\U0001E4F9\U000116E3", "099"},  // scripts of recent versions of Unicode
      {"²Ⅷ½", "²Ⅷ½"},                             // numbers, but no decimal digits
      {"\xFF\xD9", "\xFF\xD9"},
  };
  for (const auto& [text, want] : rows) EXPECT_EQ(stringByReplacingDecimalDigits(text), want);
}

TEST(NSString, DoubleValue) {
  const std::pair<std::string_view, double> rows[] = {
      {"", 0},
      {"1.5e3x", 1500},
      {"1.5", 1.5},
      {"  -1.5", -1.5},
      {"+.5", 0.5},
      {"5.", 5},
      {".", 0},
      {"-", 0},
      {"+-1", 0},
      {"e5", 0},
      {"1e", 1},
      {"1e+", 1},
      {"1e-2", 0.01},
      {"1,5", 1},
      {"inf", 0},
      {"-inf", 0},
      {"infinity", 0},
      {"nan", 0},
      {"0x10", 0},
      {"1e999", std::numeric_limits<double>::infinity()},
      {"-1e999", -std::numeric_limits<double>::infinity()},
      {"1e-999", 0},
      {"1e99999999999", std::numeric_limits<double>::infinity()},
      {"1e-99999999999", 0},
      {"0e99999999999", 0},
      {"0.00001e-99999", 0},
      {"0.00001e99999", std::numeric_limits<double>::infinity()},
      {"1e-99999999999999999999", 0},
      {"1e99999999999999999999x", std::numeric_limits<double>::infinity()},
      {"\u00A01.5", 1.5},
      {"9007199254740993", 9007199254740992.0},  // ties to even
  };
  for (const auto& [text, value] : rows) EXPECT_EQ(doubleValue(text), value) << text;
  EXPECT_TRUE(std::signbit(doubleValue("-0")));
}

TEST(NSString, FloatValueRoundsTiesToEven) {
  const std::pair<std::string_view, float> rows[] = {
      {"", 0.F},
      {"1600000000", 1600000000.F},
      {"16777217", 16777216.F},             // half way, to the even one
      {"16777219", 16777220.F},             // half way, to the even one
      {"16777217.0000000001", 16777218.F},  // read at once, not through a double
      {"0.1", 0.1F},
      {"3.5e38", std::numeric_limits<float>::infinity()},
      {"-3.5e38", -std::numeric_limits<float>::infinity()},
      {"1e-60", 0.F},
      {"1e-40", 1e-40F},
      {"  1.25x", 1.25F},
  };
  for (const auto& [text, value] : rows) EXPECT_EQ(floatValue(text), value) << text;
}

TEST(NSString, NumbersDoNotDependOnTheLocale) {
  // Where the locale is missing the test still holds, it only shows less.
  std::setlocale(LC_ALL, "de_DE.UTF-8");
  EXPECT_EQ(doubleValue("1.5"), 1.5);
  EXPECT_EQ(doubleValue("1,5"), 1);
  std::setlocale(LC_ALL, "C");
}

TEST(NSString, BoolValue) {
  for (const char* text : {"Y", "y", "yes", "T", "true", "1", "9", "-1", "+1", "007", " 1", "\t\ny",
                           "-05", "\u30001", "10x"}) {
    EXPECT_TRUE(boolValue(text)) << text;
  }
  for (const char* text : {"", " ", "0", "00", "-0", "n", "N", "false", "0.5", "0x1", "+", "-",
                           "+-1", "- 1", "-y", "0y", "x1"}) {
    EXPECT_FALSE(boolValue(text)) << text;
  }
}

TEST(NSString, TrimsUnicodeWhiteSpace) {
  std::string all = " \t\n\v\f\r";
  for (const char* c : {"\u0085", "\u00A0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003",
                        "\u2004", "\u2005", "\u2006", "\u2007", "\u2008", "\u2009", "\u200A",
                        "\u200B", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000"}) {
    all += c;
  }
  EXPECT_EQ(stringByTrimmingWhitespaceAndNewlines(all), "");
  EXPECT_EQ(stringByTrimmingWhitespaceAndNewlines(all + "a" + all + "b" + all), "a" + all + "b");
  // Neighbours of the set stay, and so does what is not UTF-8.
  for (const std::string text :
       {"\u200C", "\uFEFF", "\u180E", "\x1C", "\x01", "\x80", "\xE2\x80", "\u2060", "é", ""}) {
    EXPECT_EQ(stringByTrimmingWhitespaceAndNewlines(" " + text + " "), text);
  }
}

TEST(NSString, IsAbsolutePath) {
  EXPECT_TRUE(isAbsolutePath("/"));
  EXPECT_TRUE(isAbsolutePath("/a"));
  EXPECT_TRUE(isAbsolutePath("~"));
  EXPECT_TRUE(isAbsolutePath("~user/a"));
  EXPECT_FALSE(isAbsolutePath(""));
  EXPECT_FALSE(isAbsolutePath("a/b"));
  EXPECT_FALSE(isAbsolutePath(" /a"));
  EXPECT_FALSE(isAbsolutePath("file:///a"));
}

TEST(NSString, LastPathComponent) {
  const std::pair<const char*, const char*> rows[] = {
      {"", ""},   {"a", "a"},  {"/a", "a"}, {"/a/b", "b"},   {"/a/b/", "b"}, {"/a/b//", "b"},
      {"/", "/"}, {"//", "/"}, {"a/", "a"}, {"/a/.b", ".b"}, {"a//b", "b"},
  };
  for (const auto& [path, last] : rows) EXPECT_EQ(lastPathComponent(path), last) << path;
}

TEST(NSString, PathExtensions) {
  const struct {
    const char* path;
    const char* extension;
    const char* deleted;
  } rows[] = {
      {"", "", ""},
      {"a", "", "a"},
      {"a.txt", "txt", "a"},
      {"a.tar.gz", "gz", "a.tar"},
      {".profile", "", ".profile"},
      {".profile.bak", "bak", ".profile"},
      {"..", "", ".."},
      {".", "", "."},
      {"...", "", ".."},
      {"..a", "a", "."},
      {"notes.", "", "notes"},
      {"/a.b/c", "", "/a.b/c"},
      {"/a.b/c.d", "d", "/a.b/c"},
      {"/a/.profile", "", "/a/.profile"},
      {"/a/..", "", "/a/.."},
      {"a. b", " b", "a"},
      {"é.漢", "漢", "é"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(pathExtension(row.path), row.extension) << row.path;
    EXPECT_EQ(stringByDeletingPathExtension(row.path), row.deleted) << row.path;
  }
}

TEST(NSString, AppendingPathExtension) {
  EXPECT_EQ(stringByAppendingPathExtension("a", "txt"), "a.txt");
  EXPECT_EQ(stringByAppendingPathExtension("a.tar", "gz"), "a.tar.gz");
  EXPECT_EQ(stringByAppendingPathExtension("a", ""), "a.");
  EXPECT_EQ(stringByAppendingPathExtension("a", ".b"), "a..b");
  EXPECT_EQ(stringByAppendingPathExtension("", "txt"), std::nullopt);
  EXPECT_EQ(stringByAppendingPathExtension("a", "/txt"), std::nullopt);
}

TEST(NSString, IsUTF8) {
  EXPECT_TRUE(isUTF8(""));
  EXPECT_TRUE(isUTF8("a\xC3\xA9"));
  EXPECT_FALSE(isUTF8("a\xC3"));
}

TEST(NSString, ReplacingPercentEscapes) {
  EXPECT_EQ(bytesByReplacingPercentEscapes("a%20b%FF"), "a b\xFF");
  EXPECT_EQ(stringByReplacingPercentEscapes("a%20b%FF"), std::nullopt);
  EXPECT_EQ(stringByReplacingPercentEscapes("a%20b%C3%a9"), "a bé");
  EXPECT_EQ(stringByReplacingPercentEscapes("a\xFF"), std::nullopt);
  EXPECT_EQ(bytesByReplacingPercentEscapes("%00"), std::string(1, '\0'));
  for (const char* text : {"%", "%4", "a%", "%zz", "%4z", "%z4", "%%41", "%4%1", "% 4"}) {
    EXPECT_EQ(bytesByReplacingPercentEscapes(text), std::nullopt) << text;
    EXPECT_EQ(bytesByReplacingPercentEscapes(std::string(30, 'a') + text), std::nullopt) << text;
  }
  std::string result = "before ";
  EXPECT_TRUE(appendByReplacingPercentEscapes(result, "%41"));
  EXPECT_EQ(result, "before A");
}

}  // namespace
}  // namespace korvane
