#pragma once

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

}  // namespace korvane
