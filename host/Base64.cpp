#include "host/Base64.h"

#include <array>
#include <cstdint>

namespace korvane {
namespace {

constexpr std::uint8_t kSpace = 0xFE;
constexpr std::uint8_t kOther = 0xFF;

constexpr std::array<std::uint8_t, 256> kDigits = [] {
  std::array<std::uint8_t, 256> digits{};
  digits.fill(kOther);
  constexpr std::string_view alphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (std::size_t i = 0; i < alphabet.size(); ++i) {
    digits[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
  }
  for (char c : {' ', '\t', '\n', '\r', '\f', '\v'}) digits[static_cast<unsigned char>(c)] = kSpace;
  return digits;
}();

}  // namespace

std::optional<NSData> decodeBase64(std::string_view text) {
  NSData data;
  data.reserve(text.size() / 4 * 3);
  std::uint32_t group = 0;
  unsigned count = 0;    // digits of the group at hand
  unsigned padding = 0;  // "=" seen; nothing but white space and "=" may follow
  for (const char c : text) {
    const std::uint8_t digit = kDigits[static_cast<unsigned char>(c)];
    if (digit == kSpace) continue;
    if (c == '=') {
      if (++padding > 2) return std::nullopt;
      continue;
    }
    if (digit == kOther || padding > 0) return std::nullopt;
    group = (group << 6) | digit;
    if (++count == 4) {
      for (int shift : {16, 8, 0}) data.push_back(static_cast<std::uint8_t>(group >> shift));
      group = 0;
      count = 0;
    }
  }
  if (count + padding != (count == 0 ? 0 : 4)) return std::nullopt;
  if (count == 1) return std::nullopt;
  if (count >= 2) data.push_back(static_cast<std::uint8_t>(group >> (count == 2 ? 4 : 10)));
  if (count == 3) data.push_back(static_cast<std::uint8_t>(group >> 2));
  return data;
}

}  // namespace korvane
