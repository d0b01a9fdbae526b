#include "host/Base64.h"

#include <gtest/gtest.h>

#include <string>

namespace korvane {
namespace {

std::optional<std::string> decoded(std::string_view text) {
  const auto data = decodeBase64(text);
  if (!data) return std::nullopt;
  return std::string(data->begin(), data->end());
}

TEST(Base64, DecodesTheVectorsOfTheStandard) {
  EXPECT_EQ(decoded(""), "");
  EXPECT_EQ(decoded("Zg=="), "f");
  EXPECT_EQ(decoded("Zm8="), "fo");
  EXPECT_EQ(decoded("Zm9v"), "foo");
  EXPECT_EQ(decoded("Zm9vYg=="), "foob");
  EXPECT_EQ(decoded("Zm9vYmE="), "fooba");
  EXPECT_EQ(decoded("Zm9vYmFy"), "foobar");
}

TEST(Base64, EveryByteComesOut) {
  // "+" and "/" and all others.
  EXPECT_EQ(decoded("++//"), std::string("\xFB\xEF\xFF"));
  EXPECT_EQ(decoded("AAECAw=="), std::string("\0\1\2\3", 4));
}

TEST(Base64, SkipsWhiteSpace) {
  EXPECT_EQ(decoded(" Zm9v\r\nYm\tFy\n"), "foobar");
  EXPECT_EQ(decoded("Zg=\n=\n"), "f");
}

TEST(Base64, RefusesWhatIsIncompleteOrForeign) {
  for (const char* text :
       {"Z", "Zg", "Zg=", "Zm8", "Zm9vY", "=", "==", "Zg===", "Zm9v=", "Z===", "Zg==Zg==", "Zm9-",
        "Zm9_", "Zm9*", "data:image/png;base64,Zm9v", "Zm9v\xC3\xA4"}) {
    EXPECT_EQ(decoded(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace korvane
