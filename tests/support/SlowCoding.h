#pragma once

// Slow, obvious ways of percent encoding and base64, which the fast ones must agree with.

#include <cctype>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "platform/NSString.h"

namespace korvane::testing {

/// What URLEncodedString gives, one character at a time.
inline std::string slowlyURLEncoded(std::string_view text) {
  std::string result;
  if (text.substr(0, 3) == "\uFEFF") text = text.substr(3);
  for (const char c : text) {
    const bool stays = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '-' || c == '.' || c == '_' || c == '~';
    if (stays) {
      result += c;
    } else {
      char escape[4];
      std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned char>(c));
      result += escape;
    }
  }
  return result;
}

/// What URLDecodedString gives, one character at a time.
inline std::optional<std::string> slowlyURLDecoded(std::string_view text, bool plusAsSpace) {
  const auto isHex = [&](std::size_t i) {
    return i < text.size() && std::isxdigit(static_cast<unsigned char>(text[i])) != 0;
  };
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      if (!isHex(i + 1) || !isHex(i + 2)) return std::nullopt;
      result += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
      i += 2;
    } else {
      result += text[i] == '+' && plusAsSpace ? ' ' : text[i];
    }
  }
  if (!isUTF8(result)) return std::nullopt;
  return result;
}

inline constexpr std::string_view base64Alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// What base64EncodedString gives, bit by bit.
inline std::optional<std::string> slowlyBase64Encoded(std::string_view bytes) {
  std::string bits;
  for (const char c : bytes) {
    for (int bit = 7; bit >= 0; --bit) bits += static_cast<char>('0' + ((c >> bit) & 1));
  }
  while (bits.size() % 6 != 0) bits += '0';
  std::string result;
  for (std::size_t i = 0; i < bits.size(); i += 6) {
    result += base64Alphabet[static_cast<std::size_t>(std::stoi(bits.substr(i, 6), nullptr, 2))];
  }
  while (result.size() % 4 != 0) result += '=';
  if (result.empty()) return std::nullopt;
  return result;
}

/// What base64DecodedString gives, bit by bit.
inline std::optional<std::string> slowlyBase64Decoded(std::string_view text) {
  std::string bits;
  for (const char c : text) {
    const std::size_t value = base64Alphabet.find(c);
    if (value == base64Alphabet.npos) continue;
    for (int bit = 5; bit >= 0; --bit) bits += static_cast<char>('0' + ((value >> bit) & 1));
  }
  std::string result;
  for (std::size_t i = 0; i + 8 <= bits.size(); i += 8) {
    result += static_cast<char>(std::stoi(bits.substr(i, 8), nullptr, 2));
  }
  if (result.empty() || !isUTF8(result)) return std::nullopt;
  return result;
}

}  // namespace korvane::testing
