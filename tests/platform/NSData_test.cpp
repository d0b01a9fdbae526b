#include "platform/NSData.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace korvane
