#include "platform/NSData.h"

#include <cstdint>

namespace korvane {
namespace {

int sixBits(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

}  // namespace

std::optional<NSData> dataWithBase64EncodedString(std::string_view text) {
  NSData data;
  data.reserve(text.size() / 4 * 3);
  std::uint32_t group = 0;
  int characters = 0;  // of the group, padding included
  int padding = 0;
  for (const char c : text) {
    const int value = sixBits(c);
    if (value < 0 && c != '=') continue;
    if (value < 0 ? characters < 2 : padding > 0) return std::nullopt;
    padding += value < 0 ? 1 : 0;
    group = group << 6 | static_cast<std::uint32_t>(value < 0 ? 0 : value);
    if (++characters < 4) continue;
    for (int i = 0; i < 3 - padding; ++i) {
      data.push_back(static_cast<std::uint8_t>(group >> (16 - 8 * i)));
    }
    characters = 0;
    group = 0;
  }
  if (characters != 0) return std::nullopt;
  return data;
}

}  // namespace korvane
