#include <gtest/gtest.h>

#include "urlutils/RequestUtils.h"

namespace korvane::RequestUtils {
namespace {

using Text = std::optional<std::string>;

TEST(Base64Encoded, EdgeCases) {
  const std::pair<std::string_view, Text> rows[] = {
      {"", std::nullopt},  // absent, not empty
      {"f", "Zg=="},        {"fo", "Zm8="},           {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="},    {"foobar", "Zm9vYmFy"},
      {"é", "w6k="},        {"\xFF\xFF\xFE", "///+"}, {std::string_view("\0", 1), "AA=="},
      {"u:p", "dTpw"},
  };
  for (const auto& [text, encoded] : rows) EXPECT_EQ(base64EncodedString(text), encoded) << text;
  // No line breaks, however long.
  const std::string lines = base64EncodedString(std::string(1000, 'a')).value();
  EXPECT_EQ(lines.find_first_of("\r\n"), lines.npos);
}

TEST(Base64Decoded, EdgeCases) {
  const std::pair<std::string_view, Text> rows[] = {
      {"", std::nullopt},
      {"Zm9v", "foo"},
      {"Zm\r\n9 v", "foo"},
      {"Z=m9v", "foo"},
      {"Zg", "f"},
      {"Zg==", "f"},
      {"Zg=", "f"},
      {"Zm8", "fo"},
      {"Z", std::nullopt},
      {"===", std::nullopt},
      {"Zm9vY", "foo"},           // one character left gives nothing
      {"Zg==Zg==", "f\x06\x60"},  // "=" ends no group: what is pending runs on
      {"Zm9vYg==", "foob"},
      {"Zém漢9🙂v", "foo"},  // no byte of a character outside ASCII counts
      {"-_Zm9v!", "foo"},
      {"////", std::nullopt},  // not UTF-8
      {"w6k=", "é"},
      {"ww==", std::nullopt},  // half of it
      {"AAAA", std::string(3, '\0')},
  };
  for (const auto& [text, decoded] : rows) EXPECT_EQ(base64DecodedString(text), decoded) << text;
}

TEST(Base64, LongTextsInLines) {
  std::string text;
  for (int i = 0; i < 100'000; ++i) text += "line " + std::to_string(i) + " é\n";
  const std::string encoded = base64EncodedString(text).value();
  EXPECT_EQ(base64DecodedString(encoded), text);
  std::string lines;
  for (std::size_t at = 0; at < encoded.size(); at += 77) lines += encoded.substr(at, 77) + "\r\n";
  EXPECT_EQ(base64DecodedString(lines), text);
}

}  // namespace
}  // namespace korvane::RequestUtils
