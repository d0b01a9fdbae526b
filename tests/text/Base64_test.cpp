#include "text/Base64.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <string>
#include <utility>

#include "support/SlowCoding.h"

namespace korvane {
namespace {

using enum Base64Leniency;
using Text = std::optional<std::string>;

constexpr Base64Leniency kLeniencies[] = {whiteSpace, foreignCharacters, paddingAnywhere,
                                          noPadding};

Text decoded(std::string_view text, Base64Leniency leniency) {
  return decodedBase64<std::string>(text, leniency);
}

TEST(Base64, TheVectorsOfTheStandard) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"", ""},
      {"f", "Zg=="},
      {"fo", "Zm8="},
      {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"},
      {"\xFB\xFF\xBF", "+/+/"},
      {std::string_view("\0\1\2\3", 4), "AAECAw=="},
  };
  for (const auto& [bytes, text] : rows) {
    EXPECT_EQ(encodeBase64(bytes), text);
    for (const Base64Leniency leniency : kLeniencies) EXPECT_EQ(decoded(text, leniency), bytes);
  }
}

// What each leniency makes of a text; an absent one is refused.
TEST(Base64, Leniency) {
  const Text no = std::nullopt;
  struct Row {
    std::string_view text;
    Text strict, foreign, padding, noPadding;
  };
  const Row rows[] = {
      // White space, also before and inside the padding.
      {" Zm9v\r\nYm\tFy\n", "foobar", "foobar", "foobar", "foobar"},
      {"Zg=\n=\n", "f", "f", "f", "f"},
      {"Z\fm\v9v", "foo", "foo", "foo", "foo"},
      {"Zg=\f=", "f", "f", std::string("f\0", 2), "f"},
      {" \n", "", "", "", ""},
      // Characters outside the alphabet.
      {" Z-m_9*v\xC3\xA9 ", no, "foo", "foo", "foo"},
      {"*** \n", no, "", "", ""},
      {"Zg=*=", no, "f", std::string("f\0", 2), "f"},
      // Groups that are not complete.
      {"Z", no, no, "", ""},
      {"Zg", no, no, "", "f"},
      {"Zm8", no, no, "", "fo"},
      {"Zg=", no, no, "", "f"},
      {"Zm9vY", no, no, "foo", "foo"},
      {"Zm9vYg", no, no, "foo", "foob"},
      // Padding where none belongs.
      {"=", no, no, "", ""},
      {"====", no, no, std::string(1, '\0'), ""},
      {"Z===", no, no, "d", ""},
      {"Zg===", no, no, "f", "f"},
      {"Zm9v=", no, no, "foo", "foo"},
      {"Zm8=Z", no, no, "fo", "fo\x19"},
      {"Z=g=", no, no, std::string("d\x08", 2), "f"},
      {"Z=m9v", no, no, "d\x09\xBD", "foo"},
      {"=Zg=", no, no, std::string("\x01\x98", 2), "f"},
      {"Zg==Zg==", no, no, "ff", "f\x06\x60"},
      {"Zg==Zm9vYmFy", no, no, "ffoobar", "f\x06\x66\xF6\xF6\x26\x17"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(decoded(row.text, whiteSpace), row.strict);
    EXPECT_EQ(decoded(row.text, foreignCharacters), row.foreign);
    EXPECT_EQ(decoded(row.text, paddingAnywhere), row.padding);
    EXPECT_EQ(decoded(row.text, noPadding), row.noPadding);
  }
}

TEST(Base64, AgreesWithTheSlowWay) {
  std::mt19937 random(3);
  const std::string_view foreign[] = {"=",    "\n",   " ",  "\r\n", "\xC3\xA9", "-",
                                      "\x80", "\xFF", "==", "\f",   "\v",       "===="};
  std::size_t refused = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string bytes;
    for (std::size_t n = random() % 120; n > 0; --n) bytes += static_cast<char>(random() % 256);
    std::string text = encodeBase64(bytes);
    ASSERT_EQ(text, testing::slowlyBase64Encoded(bytes));
    for (std::size_t n = random() % 5; n > 0; --n) {
      text.insert(random() % (text.size() + 1), foreign[random() % std::size(foreign)]);
    }
    for (const Base64Leniency leniency : kLeniencies) {
      const Text found = decoded(text, leniency);
      ASSERT_EQ(found, testing::slowlyBase64Decoded(text, leniency))
          << text << " leniency " << static_cast<int>(leniency);
      refused += found ? 0 : 1;
    }
  }
  EXPECT_GT(refused, 10'000U);
}

TEST(Base64, EveryByteAtEveryPlaceOfABlock) {
  const std::string text = encodeBase64("The quick brown fox jumps over it");
  for (int byte = 0; byte < 256; ++byte) {
    for (std::size_t at = 0; at <= text.size(); ++at) {
      std::string with = text;
      with.insert(at, 1, static_cast<char>(byte));
      for (const Base64Leniency leniency : kLeniencies) {
        ASSERT_EQ(decoded(with, leniency), testing::slowlyBase64Decoded(with, leniency))
            << byte << " at " << at << " leniency " << static_cast<int>(leniency);
      }
    }
  }
}

TEST(Base64, LongTextsInLines) {
  std::string bytes;
  for (int i = 0; i < 10'000; ++i) bytes += "line " + std::to_string(i) + " \xC3\xA9\n";
  const std::string encoded = encodeBase64(bytes);
  std::string lines;
  for (std::size_t at = 0; at < encoded.size(); at += 77) lines += encoded.substr(at, 77) + "\r\n";
  for (const Base64Leniency leniency : kLeniencies) {
    EXPECT_EQ(decoded(encoded, leniency), bytes);
    EXPECT_EQ(decoded(lines, leniency), bytes);
  }
}

}  // namespace
}  // namespace korvane
