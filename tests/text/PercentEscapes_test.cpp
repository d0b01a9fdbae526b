#include "text/PercentEscapes.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <string>
#include <utility>

#include "support/SlowCoding.h"

namespace korvane {
namespace {

std::string encoded(std::string_view bytes) {
  std::string text;
  appendPercentEncoded(text, bytes);
  return text;
}

std::optional<std::string> decoded(std::string_view text, bool plusAsSpace = false) {
  std::string bytes;
  if (!appendPercentDecoded(bytes, text, plusAsSpace)) return std::nullopt;
  return bytes;
}

TEST(PercentEscapes, EveryByte) {
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    char upper[4];
    char lower[4];
    std::snprintf(upper, sizeof upper, "%%%02X", static_cast<unsigned>(byte));
    std::snprintf(lower, sizeof lower, "%%%02x", static_cast<unsigned>(byte));
    std::string escape;
    appendPercentEscape(escape, c);
    EXPECT_EQ(escape, upper);
    EXPECT_TRUE(isPercentEscape(upper, 0));
    EXPECT_EQ(percentEscapeValue(lower, 0), c);
    EXPECT_EQ(decoded(upper), std::string(1, c));
    EXPECT_EQ(decoded(lower), std::string(1, c));
    const bool stays = isAlphanumeric(c) || c == '-' || c == '.' || c == '_' || c == '~';
    EXPECT_EQ(encoded({&c, 1}), stays ? std::string(1, c) : upper);
  }
}

TEST(PercentEscapes, WhereOneBegins) {
  EXPECT_TRUE(isPercentEscape("a%41", 1));
  for (const std::string_view text : {"a", "a%", "a%4", "a%4g", "a%g4", "aa41", "a% 1", "a%%41"}) {
    EXPECT_FALSE(isPercentEscape(text, 1)) << text;
    if (text.find('%') != text.npos) {
      EXPECT_EQ(decoded(text), std::nullopt) << text;
    }
  }
}

TEST(PercentEscapes, TextsAreAppended) {
  std::string text = "k=";
  appendPercentEncoded(text, "");
  appendPercentEncoded(text, "a b");
  EXPECT_EQ(text, "k=a%20b");
  EXPECT_TRUE(appendPercentDecoded(text, "+%2b+", true));
  EXPECT_EQ(text, "k=a%20b + ");
  EXPECT_EQ(decoded("+%2b+"), "+++");
  EXPECT_EQ(decoded(""), "");
}

TEST(PercentEscapes, ALenientReaderKeepsWhatIsNoEscape) {
  EXPECT_EQ(percentDecodedLeniently("a%20b%2Bc+%zz%4%"), "a b+c+%zz%4%");
  EXPECT_EQ(percentDecodedLeniently("%%41%E9%00"), std::string("%A\xE9\0", 4));
  EXPECT_EQ(percentDecodedLeniently(""), "");
}

TEST(PercentEscapes, AgreeWithTheSlowWay) {
  std::mt19937 random(11);
  const std::string_view pieces[] = {"%41", "%c3%A9", "a", "+", "zzzz", "%fF", "\xC3\xA9", "%25"};
  std::size_t refused = 0;
  for (int round = 0; round < 5000; ++round) {
    // Some longer than the buffers that the work goes through.
    std::string text;
    const std::size_t most = round % 50 == 0 ? 6000 : 60;
    for (std::size_t n = random() % most; n > 0; --n) text += pieces[random() % std::size(pieces)];
    if (round % 2 == 0 && !text.empty()) {
      text[random() % text.size()] = static_cast<char>(random() % 256);
    }
    for (const bool plus : {false, true}) {
      const auto found = decoded(text, plus);
      ASSERT_EQ(found, testing::slowlyPercentDecoded(text, plus)) << text;
      refused += found ? 0 : 1;
    }
    ASSERT_EQ(encoded(text), testing::slowlyPercentEncoded(text));
    ASSERT_EQ(decoded(encoded(text)), text);
  }
  EXPECT_GT(refused, 500U);
}

}  // namespace
}  // namespace korvane
