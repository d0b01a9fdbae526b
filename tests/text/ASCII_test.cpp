#include "text/ASCII.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

TEST(ASCII, EveryByte) {
  constexpr std::string_view kLower = "abcdefghijklmnopqrstuvwxyz";
  constexpr std::string_view kUpper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  constexpr std::string_view kDigits = "0123456789";
  const auto has = [](std::string_view all, char c) { return all.find(c) != all.npos; };
  for (int byte = 0; byte < 256; ++byte) {
    SCOPED_TRACE(byte);
    const char c = static_cast<char>(byte);
    EXPECT_EQ(isASCII(c), byte < 128);
    EXPECT_EQ(isDigit(c), has(kDigits, c));
    EXPECT_EQ(isLetter(c), has(kLower, c) || has(kUpper, c));
    EXPECT_EQ(isAlphanumeric(c), has(kLower, c) || has(kUpper, c) || has(kDigits, c));
    const std::size_t small = std::string_view("0123456789abcdef").find(c);
    const std::size_t large = std::string_view("0123456789ABCDEF").find(c);
    EXPECT_EQ(hexDigitValue(c), std::min({small, large, std::size_t{16}}));
    EXPECT_EQ(isHexDigit(c), std::min(small, large) < 16);
    EXPECT_EQ(lowercase(c), has(kUpper, c) ? kLower[kUpper.find(c)] : c);
  }
}

TEST(ASCII, Sets) {
  constexpr std::string_view kSome = "\x01 @A`z~\x7F";
  constexpr ASCIISet set = kSome;
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    EXPECT_EQ(isOneOf(c, set), kSome.find(c) != kSome.npos) << byte;
    EXPECT_FALSE(isOneOf(c, "")) << byte;
  }
  EXPECT_FALSE(isOneOf('\0', "a"));  // the end of the literal is none of its characters
}

TEST(ASCII, Texts) {
  EXPECT_EQ(lowercase(std::string_view("HTML Ä \xC4[@`{")), "html Ä \xC4[@`{");
  EXPECT_EQ(lowercase(std::string_view("")), "");
  EXPECT_TRUE(equalIgnoringCase("", ""));
  EXPECT_TRUE(equalIgnoringCase("Content-Type", "content-tYPE"));
  EXPECT_FALSE(equalIgnoringCase("a", "ab"));
  EXPECT_FALSE(equalIgnoringCase("Ä", "ä"));
  EXPECT_FALSE(equalIgnoringCase("@", "`"));  // as far apart as "A" and "a"
}

}  // namespace
}  // namespace korvane
