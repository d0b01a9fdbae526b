#include "platform/NSFormat.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/TestPlatform.h"

namespace korvane {
namespace {

TEST(NSFormat, PlaceholdersAreFilledInOrder) {
  EXPECT_EQ(stringWithFormat("[%@] ShareFull %@", "***ERROR***", "why"),
            "[***ERROR***] ShareFull why");
  EXPECT_EQ(stringWithFormat("%i of %lu", 3, std::size_t{7}), "3 of 7");
  EXPECT_EQ(stringWithFormat("%@", std::string_view("")), "");
  EXPECT_EQ(stringWithFormat("nothing to fill"), "nothing to fill");
  EXPECT_EQ(stringWithFormat(""), "");
}

TEST(NSFormat, PercentSigns) {
  EXPECT_EQ(stringWithFormat("100%% of %@", "it"), "100% of it");
  EXPECT_EQ(stringWithFormat("%%@", "unused"), "%@");
  EXPECT_EQ(stringWithFormat("50% and %d and %", "unused"), "50% and %d and %");
}

TEST(NSFormat, PlaceholderWithoutAnArgumentStays) {
  EXPECT_EQ(stringWithFormat("%@ %@ %lu", "one"), "one %@ %lu");
}

TEST(NSFormat, ArgumentsAreNotReadAsFormats) {
  EXPECT_EQ(stringWithFormat("%@-%@", "%@ %% %lu", "%i"), "%@ %% %lu-%i");
}

TEST(NSFormat, ArgumentsOfEveryKind) {
  EXPECT_EQ(stringWithFormat("%@", Value("text")), "text");
  EXPECT_EQ(stringWithFormat("%@", Value()), "(null)");
  EXPECT_EQ(stringWithFormat("%@", Value(5)), "5");
  const char* none = nullptr;
  EXPECT_EQ(stringWithFormat("%@", none), "(null)");
  EXPECT_EQ(stringWithFormat("%@", INT64_MIN), "-9223372036854775808");
  EXPECT_EQ(stringWithFormat("%@", std::optional<std::string>()), "(null)");
  EXPECT_EQ(stringWithFormat("%@", std::optional<std::string>("here")), "here");
  EXPECT_EQ(stringWithFormat("%@", std::optional<Value>(Value(2.5))), "2.5");
  EXPECT_EQ(stringWithFormat("%@", NSException(NSRangeException, "outside")), "outside");
  EXPECT_EQ(stringWithFormat("%@", NSError{"D", 4, ""}), "Error Domain=D Code=4 (null)");
}

TEST(NSFormat, BytesThatAreNoTextStayAsTheyAre) {
  const std::string bytes("a\0\xFF", 3);
  EXPECT_EQ(stringWithFormat("<%@>", bytes), "<" + bytes + ">");
}

TEST(NSFormat, LogLinesAreFormatted) {
  testing::TestPlatform platform;
  NSLog("exchangeDate %@", "%@");
  NSLogLine("as it %@ is");
  EXPECT_EQ(platform.log->lines(), (std::vector<std::string>{"exchangeDate %@", "as it %@ is"}));
}

}  // namespace
}  // namespace korvane
