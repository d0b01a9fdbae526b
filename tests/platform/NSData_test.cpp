#include "platform/NSData.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

namespace korvane {
namespace {

std::optional<std::string> decoded(std::string_view text) {
  const auto data = dataWithBase64EncodedString(text);
  if (!data) return std::nullopt;
  return std::string(data->begin(), data->end());
}

TEST(NSData, CompleteGroups) {
  EXPECT_EQ(decoded(""), "");
  EXPECT_EQ(decoded("Zg=="), "f");
  EXPECT_EQ(decoded("Zm8="), "fo");
  EXPECT_EQ(decoded("Zm9v"), "foo");
  EXPECT_EQ(decoded("Zm9vYg=="), "foob");
  EXPECT_EQ(decoded("Zm9vYmE="), "fooba");
  EXPECT_EQ(decoded("+/+/"), "\xFB\xFF\xBF");
}

TEST(NSData, ForeignCharactersAreSkippedEverywhere) {
  EXPECT_EQ(decoded("Zm\r\n9v"), "foo");
  EXPECT_EQ(decoded(" Z-m_9*v\xC3\xA9 "), "foo");
  EXPECT_EQ(decoded("Zg=\n=\n"), "f");
  EXPECT_EQ(decoded("*** \n"), "");
}

TEST(NSData, IncompleteGroupsAndMisplacedPaddingGiveNothing) {
  for (const char* text : {"Z", "Zg", "Zm8", "Zg=", "Zm9vY", "Zm9vYg", "=",
                           "====", "Z===", "Zg===", "Zg==Zg==", "Zm8=Z", "Zm9v=", "Z=g="}) {
    EXPECT_EQ(decoded(text), std::nullopt) << text;
  }
}

TEST(NSData, BytesComeBackWhateverLineLengthTheyWereWrittenWith) {
  constexpr std::string_view alphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  for (int i = 0; i < 700; ++i) {
    bytes += static_cast<char>(i * 37 % 256);
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
      std::uint32_t group = 0;
      const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
      for (std::size_t k = 0; k < 3; ++k) {
        group = group << 8 | (k < count ? static_cast<unsigned char>(bytes[at + k]) : 0U);
      }
      for (std::size_t k = 0; k < 4; ++k) {
        text += k <= count ? alphabet[(group >> (18 - 6 * k)) & 63] : '=';
      }
      if (at % 57 == 0) text += "\r\n";
    }
    ASSERT_EQ(decoded(text), bytes);
  }
}

}  // namespace
}  // namespace korvane
