#include "text/Windows1252.h"

#include <array>

#include "text/UTF8.h"

namespace korvane {

char32_t windows1252Character(unsigned char byte) {
  // 0x80 to 0x9F; all else is Latin-1.
  static constexpr std::array<char32_t, 32> kSpecials = {
      0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
      0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
      0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};
  return byte >= 0x80 && byte < 0xA0 ? kSpecials[byte - 0x80] : byte;
}

std::string textOfWindows1252(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size() + bytes.size() / 8);
  for (const char byte : bytes) {
    appendUTF8(windows1252Character(static_cast<unsigned char>(byte)), text);
  }
  return text;
}

}  // namespace korvane
