#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace korvane {

/// Appends a character (up to U+10FFFF, no surrogate) in UTF-8.
inline void appendUTF8(std::uint32_t code, std::string& text) {
  const auto add = [&](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (code < 0x80) return add(code);
  if (code < 0x800) {
    add(0xC0 | code >> 6);
  } else {
    if (code < 0x10000) {
      add(0xE0 | code >> 12);
    } else {
      add(0xF0 | code >> 18);
      add(0x80 | (code >> 12 & 0x3F));
    }
    add(0x80 | (code >> 6 & 0x3F));
  }
  add(0x80 | (code & 0x3F));
}

/// The text of as many 16-bit units, their most significant bytes first; half of a surrogate pair
/// becomes U+FFFD.
inline std::string utf8OfUTF16(const unsigned char* bytes, std::size_t units) {
  std::string text;
  text.reserve(units);
  const auto unit = [&](std::size_t i) {
    return static_cast<std::uint32_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
  };
  for (std::size_t i = 0; i < units; ++i) {
    std::uint32_t code = unit(i);
    const bool isHigh = code >= 0xD800 && code < 0xDC00;
    if (isHigh && i + 1 < units && (unit(i + 1) & 0xFC00) == 0xDC00) {
      code = 0x10000 + ((code - 0xD800) << 10) + (unit(++i) - 0xDC00);
    } else if (code >= 0xD800 && code < 0xE000) {
      code = 0xFFFD;
    }
    appendUTF8(code, text);
  }
  return text;
}

}  // namespace korvane
