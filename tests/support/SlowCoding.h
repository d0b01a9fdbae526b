#pragma once

// Slow, obvious ways of percent encoding and base64, which the fast ones must agree with.

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "text/Base64.h"

namespace korvane::testing {

/// Whether the bytes are the shortest form of characters that exist, found by writing each out
/// again.
inline bool slowlyIsUTF8(std::string_view bytes) {
  while (!bytes.empty()) {
    bool found = false;
    for (std::size_t size = 1; size <= 4 && size <= bytes.size() && !found; ++size) {
      const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
      static constexpr unsigned kLead[] = {0, 0x00, 0xC0, 0xE0, 0xF0};
      static constexpr unsigned kMask[] = {0, 0x80, 0xE0, 0xF0, 0xF8};
      if ((byte(0) & kMask[size]) != kLead[size]) continue;
      std::uint32_t code = byte(0) & ~kMask[size] & 0xFF;
      bool tail = true;
      for (std::size_t i = 1; i < size; ++i) {
        tail = tail && (byte(i) & 0xC0) == 0x80;
        code = code << 6 | (byte(i) & 0x3F);
      }
      const std::size_t shortest = code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
      found = tail && shortest == size && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
      if (found) bytes.remove_prefix(size);
    }
    if (!found) return false;
  }
  return true;
}

/// What appendPercentEncoded gives, one byte at a time.
inline std::string slowlyPercentEncoded(std::string_view bytes) {
  std::string result;
  for (const char c : bytes) {
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

/// What URLEncodedString gives.
inline std::string slowlyURLEncoded(std::string_view text) { return slowlyPercentEncoded(text); }

/// What appendPercentDecoded gives, one byte at a time.
inline std::optional<std::string> slowlyPercentDecoded(std::string_view text, bool plusAsSpace) {
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
  return result;
}

/// What URLDecodedString gives.
inline std::optional<std::string> slowlyURLDecoded(std::string_view text, bool plusAsSpace) {
  auto result = slowlyPercentDecoded(text, plusAsSpace);
  if (result && !slowlyIsUTF8(*result)) return std::nullopt;
  if (result && result->starts_with("\uFEFF")) result->erase(0, 3);
  return result;
}

/// What encodeBase64 gives, bit by bit.
inline std::string slowlyBase64Encoded(std::string_view bytes) {
  std::string bits;
  for (const char c : bytes) {
    for (int bit = 7; bit >= 0; --bit) bits += static_cast<char>('0' + ((c >> bit) & 1));
  }
  while (bits.size() % 6 != 0) bits += '0';
  std::string result;
  for (std::size_t i = 0; i < bits.size(); i += 6) {
    result += kBase64Alphabet[static_cast<std::size_t>(std::stoi(bits.substr(i, 6), nullptr, 2))];
  }
  while (result.size() % 4 != 0) result += '=';
  return result;
}

/// The bytes that a row of bits stands for, as far as they are whole.
inline std::string bytesOfBits(std::string_view bits) {
  std::string result;
  for (std::size_t i = 0; i + 8 <= bits.size(); i += 8) {
    result += static_cast<char>(std::stoi(std::string(bits.substr(i, 8)), nullptr, 2));
  }
  return result;
}

/// What decodeBase64 gives, bit by bit.
inline std::optional<std::string> slowlyBase64Decoded(std::string_view text,
                                                      Base64Leniency leniency) {
  constexpr std::string_view kSpace = " \t\n\r";
  std::string kept;  // with a "*" for what is not a part of the text
  for (const char c : text) {
    const bool known = c == '=' || kBase64Alphabet.find(c) != kBase64Alphabet.npos;
    const bool space = kSpace.find(c) != kSpace.npos;
    if (known) kept += c;
    if (!known && !space) kept += '*';
    if (leniency == Base64Leniency::whiteSpace && (c == '\f' || c == '\v')) kept.pop_back();
  }
  const bool strict = leniency == Base64Leniency::whiteSpace;
  const bool refuses = strict || leniency == Base64Leniency::foreignCharacters;
  if (strict && kept.find('*') != kept.npos) return std::nullopt;
  if (leniency != Base64Leniency::paddingAnywhere) std::erase(kept, '*');
  if (leniency == Base64Leniency::noPadding) std::erase(kept, '=');
  if (refuses) {
    const std::size_t padding = std::min(kept.find('='), kept.size());
    if (kept.size() % 4 != 0 || kept.size() - padding > 2) return std::nullopt;
    if (kept.find_first_not_of('=', padding) != kept.npos) return std::nullopt;
  }

  std::string result;
  std::string group;  // bits
  std::size_t padding = 0;
  for (const char c : kept) {
    padding = c == '=' ? padding + 1 : 0;
    if (c == '*') continue;
    const std::size_t value = c == '=' ? 0 : kBase64Alphabet.find(c);
    for (int bit = 5; bit >= 0; --bit) group += static_cast<char>('0' + ((value >> bit) & 1));
    if (group.size() < 24) continue;
    result += bytesOfBits(group).substr(0, 3 - std::min<std::size_t>(padding, 2));
    group.clear();
  }
  if (leniency == Base64Leniency::noPadding) result += bytesOfBits(group);
  return result;
}

}  // namespace korvane::testing
