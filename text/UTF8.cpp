#include "text/UTF8.h"

#include <cstring>

#include "text/ASCII.h"
#include "text/Blocks.h"

namespace korvane {

UTF8Character wideUTF8Character(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned lead = byte(0);
  if (lead < 0xC2 || lead > 0xF4) return {};
  const std::uint32_t size = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  // What may follow: no overlong forms, no surrogates, nothing above U+10FFFF.
  unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  char32_t code = lead & (0xFFU >> (size + 1));
  for (std::uint32_t i = 1; i < size; ++i) {
    if (i == text.size() || byte(i) < low || byte(i) > high) {
      return {kReplacementCharacter, i, false};
    }
    code = code << 6 | (byte(i) & 0x3FU);
    low = 0x80;
    high = 0xBF;
  }
  return {code, size, true};
}

bool isValidUTF8(std::string_view bytes) {
  if (!skipUTF8Blocks(bytes)) return false;
  while (!bytes.empty()) {
    std::uint64_t eight;
    if (bytes.size() >= sizeof eight) {
      std::memcpy(&eight, bytes.data(), sizeof eight);
      if ((eight & 0x8080808080808080) == 0) {  // all of them ASCII
        bytes.remove_prefix(sizeof eight);
        continue;
      }
    }
    if (isASCII(bytes[0])) {
      bytes.remove_prefix(1);
      continue;
    }
    const UTF8Character character = firstUTF8Character(bytes);
    if (!character.isValid) return false;
    bytes.remove_prefix(character.size);
  }
  return true;
}

void appendUTF8(char32_t code, std::string& text) {
  const auto add = [&](char32_t byte) { text += static_cast<char>(byte); };
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

std::string utf8OfUTF16(const unsigned char* bytes, std::size_t units) {
  std::string text;
  text.reserve(units);
  const auto unit = [&](std::size_t i) {
    return static_cast<char32_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
  };
  for (std::size_t i = 0; i < units; ++i) {
    char32_t code = unit(i);
    const bool isHigh = code >= 0xD800 && code < 0xDC00;
    if (isHigh && i + 1 < units && (unit(i + 1) & 0xFC00) == 0xDC00) {
      code = 0x10000 + ((code - 0xD800) << 10) + (unit(++i) - 0xDC00);
    } else if (code >= 0xD800 && code < 0xE000) {
      code = kReplacementCharacter;
    }
    appendUTF8(code, text);
  }
  return text;
}

}  // namespace korvane
