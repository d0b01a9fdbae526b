#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "text/Blocks.h"

// Base64 with the standard alphabet (RFC 4648, section 4). Any thread may call.
namespace korvane {

/// The characters of base64, the one for 0 first.
inline constexpr std::string_view kBase64Alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// What a decoder puts up with, each more than the one before it.
enum class Base64Leniency {
  /// ASCII white space anywhere. Groups of four must be complete, the last one filled up with "=";
  /// any
  /// other character refuses the text.
  whiteSpace,
  /// The same, and characters outside the alphabet are skipped.
  foreignCharacters,
  /// Nothing is refused. A "=" counts as a character of its group; as many as stand at the group's
  /// end take a byte each off it (spaces, tabs and line breaks aside), and one byte stays. A group
  /// that is not
  /// complete at the end gives nothing.
  paddingAnywhere,
  /// Nothing is refused. "=" is skipped like all that is outside the alphabet, and the characters
  /// left at the end give the bytes that they hold whole.
  noPadding,
};

/// The text of the bytes, with padding and without line breaks.
std::string encodeBase64(std::string_view bytes);

/// How much memory decodeBase64 asks for.
constexpr std::size_t base64DecodingRoom(std::size_t textSize) {
  return textSize / 4 * 3 + 2 + kBase64BlockSlack;
}

/// Decodes into memory of base64DecodingRoom(text.size()) bytes, which need not all be filled:
/// gives how many bytes the text stands for. Nothing when it is refused.
std::optional<std::size_t> decodeBase64(std::string_view text, Base64Leniency leniency, char* to);

/// The same as a container of bytes.
template <class Bytes>
std::optional<Bytes> decodedBase64(std::string_view text, Base64Leniency leniency) {
  Bytes bytes;
  bytes.resize(base64DecodingRoom(text.size()));
  const auto size = decodeBase64(text, leniency, reinterpret_cast<char*>(bytes.data()));
  if (!size) return std::nullopt;
  bytes.resize(*size);
  return bytes;
}

}  // namespace korvane
