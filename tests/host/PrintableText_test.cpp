#include "host/PrintableText.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace korvane {
namespace {

using nlohmann::json;

TEST(PrintableText, EveryByteSequence) {
  EXPECT_EQ(printableText("a\tb\nc\r\nd\re", LineBreaks::keep), "a\tb\nc\nd<U+000D>e");
  EXPECT_EQ(printableText("a\tb\nc", LineBreaks::show), "a\tb<U+000A>c");
  EXPECT_EQ(printableText(std::string("\0\x7f\u0085\u2028\u2066", 10), LineBreaks::keep),
            "<U+0000><U+007F><U+0085><U+2028><U+2066>");
  EXPECT_EQ(printableText("é漢😀\u200F", LineBreaks::show), "é漢😀\u200F");
  for (const std::string_view bad : {"\x80", "\xC0", "\xC1", "\xF5", "\xFF"}) {
    EXPECT_EQ(printableText(bad, LineBreaks::keep), "\uFFFD");
  }
  EXPECT_EQ(printableText("\xC0\x80", LineBreaks::keep), "\uFFFD\uFFFD");
  EXPECT_EQ(printableText("\xED\xA0\x80", LineBreaks::keep), "\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(printableText("\xE2\x82", LineBreaks::keep), "\uFFFD\uFFFD");
  EXPECT_EQ(printableText("\xF4\x90\x80\x80", LineBreaks::keep).size(), 12u);
}

TEST(PrintableText, JSONStringsOfAllOfUnicode) {
  std::string all;
  for (unsigned scalar = 0; scalar <= 0x10FFFF; ++scalar) {
    if (scalar >= 0xD800 && scalar <= 0xDFFF) continue;
    const auto append = [&](unsigned byte) { all += static_cast<char>(byte); };
    if (scalar < 0x80) {
      append(scalar);
    } else if (scalar < 0x800) {
      append(0xC0 | (scalar >> 6)), append(0x80 | (scalar & 0x3F));
    } else if (scalar < 0x10000) {
      append(0xE0 | (scalar >> 12)), append(0x80 | ((scalar >> 6) & 0x3F));
      append(0x80 | (scalar & 0x3F));
    } else {
      append(0xF0 | (scalar >> 18)), append(0x80 | ((scalar >> 12) & 0x3F));
      append(0x80 | ((scalar >> 6) & 0x3F)), append(0x80 | (scalar & 0x3F));
    }
  }
  EXPECT_TRUE(json::parse(jsonString(all)) == all);
  EXPECT_EQ(json::parse(jsonString("\xFF"
                                   "a\xC3")),
            "\uFFFD"
            "a\uFFFD");
}

}  // namespace
}  // namespace korvane
