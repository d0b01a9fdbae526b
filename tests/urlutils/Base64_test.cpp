#include <gtest/gtest.h>

#include <random>

#include "support/SlowCoding.h"
#include "urlutils/RequestUtils.h"

namespace korvane::RequestUtils {
namespace {

using Text = std::optional<std::string>;

constexpr std::string_view kAlphabet = testing::base64Alphabet;
using testing::slowlyBase64Decoded;
using testing::slowlyBase64Encoded;

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
  EXPECT_EQ(lines.find_first_not_of(kAlphabet), lines.size() - 2);
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

TEST(Base64Decoded, EveryByteOutsideTheAlphabetIsSkipped) {
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const bool letter = kAlphabet.find(c) != kAlphabet.npos;
    // At each place of a stretch that is long enough to be decoded in blocks.
    const std::string text = base64EncodedString("The quick brown fox jumps over it").value();
    for (std::size_t at = 0; at <= text.size(); ++at) {
      std::string with = text;
      with.insert(at, 1, c);
      const Text decoded = base64DecodedString(with);
      ASSERT_EQ(decoded, slowlyBase64Decoded(with)) << byte << " at " << at;
      if (!letter) {
        ASSERT_EQ(decoded, "The quick brown fox jumps over it") << byte << " at " << at;
      }
    }
  }
}

TEST(Base64, EveryPairOfHalvesInEveryColumn) {
  for (std::size_t length = 0; length < 70; ++length) {
    for (const unsigned step : {1U, 7U, 37U, 91U}) {
      std::string bytes;
      for (std::size_t i = 0; i < length; ++i) bytes += static_cast<char>((i * step) & 0x7F);
      const Text encoded = base64EncodedString(bytes);
      ASSERT_EQ(encoded, slowlyBase64Encoded(bytes));
      if (encoded) {
        ASSERT_EQ(base64DecodedString(*encoded), bytes);
      }
    }
  }
}

TEST(Base64, AgreesWithTheSlowWay) {
  std::mt19937 random(3);
  const std::string_view foreign[] = {"=", "\n", " ", "\r\n", "é", "-", "\x80", "\xFF", "=="};
  for (int round = 0; round < 3000; ++round) {
    std::string bytes;
    const unsigned limit = round % 2 == 0 ? 256 : 128;
    for (std::size_t n = random() % 200; n > 0; --n) bytes += static_cast<char>(random() % limit);
    const Text encoded = base64EncodedString(bytes);
    ASSERT_EQ(encoded, slowlyBase64Encoded(bytes));
    std::string text = encoded.value_or("");
    for (std::size_t n = random() % 5; n > 0; --n) {
      text.insert(random() % (text.size() + 1), foreign[random() % std::size(foreign)]);
    }
    ASSERT_EQ(base64DecodedString(text), slowlyBase64Decoded(text)) << text;
  }
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
