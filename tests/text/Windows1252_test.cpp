#include "text/Windows1252.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

TEST(Windows1252, EveryByte) {
  // The bytes that are not Latin-1, in their order. A dot stands for one that is not assigned.
  constexpr std::u32string_view kSpecials = U"€.‚ƒ„…†‡ˆ‰Š‹Œ.Ž..‘’“”•–—˜™š›œ.žŸ";
  ASSERT_EQ(kSpecials.size(), 32U);
  for (unsigned byte = 0; byte < 256; ++byte) {
    const char32_t special = byte >= 0x80 && byte < 0xA0 ? kSpecials[byte - 0x80] : U'.';
    EXPECT_TRUE(windows1252Character(static_cast<unsigned char>(byte)) ==
                (special == U'.' ? byte : special))
        << byte;
  }
}

TEST(Windows1252, Texts) {
  EXPECT_EQ(textOfWindows1252(""), "");
  EXPECT_EQ(textOfWindows1252("Gr\xFC\xDF"
                              "e \x80\x93\x94"),
            "Grüße €“”");
  EXPECT_EQ(textOfWindows1252("\x81"), "\xC2\x81");
}

}  // namespace
}  // namespace korvane
