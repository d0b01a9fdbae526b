#include "text/PrintableText.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace korvane {
namespace {

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
  EXPECT_EQ(printableText("\xE2\x82", LineBreaks::keep), "\uFFFD");
  EXPECT_EQ(printableText("\xF4\x90\x80\x80", LineBreaks::keep).size(), 12u);
}

}  // namespace
}  // namespace korvane
