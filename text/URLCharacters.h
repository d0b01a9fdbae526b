#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "text/ASCII.h"

// The characters of URLs (RFC 3986), for the functions of NSURL. Pure: any thread may call.
namespace korvane::urlcharacters {

/// What a byte means; the bits of classOf.
enum : std::uint8_t {
  kIllegal = 1,
  kPercent = 2,
  kBracket = 4,
  kHash = 8,
  kQuestion = 16,
  kSlash = 32,
  kSchemeCharacter = 64,
  kHexDigit = 128,
};

inline constexpr std::array<std::uint8_t, 256> kClasses = [] {
  std::array<std::uint8_t, 256> classes{};
  const auto add = [&](std::string_view characters, std::uint8_t bits) {
    for (const char c : characters) classes[static_cast<unsigned char>(c)] |= bits;
  };
  for (std::size_t c = 0; c < 256; ++c) {
    if (c <= ' ' || c >= 0x7F) classes[c] = kIllegal;
  }
  add("\"<>\\^`{|}", kIllegal);
  add("%", kPercent);
  add("[]", kBracket);
  add("#", kHash);
  add("?", kQuestion);
  add("/", kSlash);
  add("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-.", kSchemeCharacter);
  add("0123456789abcdefABCDEF", kHexDigit);
  return classes;
}();

inline std::uint8_t classOf(char c) { return kClasses[static_cast<unsigned char>(c)]; }

/// Where what follows the scheme and its ":" begins (RFC 3986, section 3.1); 0 without a scheme. A
/// text that begins with ":" has the empty scheme.
inline std::size_t findHierarchy(std::string_view text) {
  if (text.starts_with(':')) return 1;
  if (text.empty() || !isLetter(text[0])) return 0;
  std::size_t at = 1;
  while (at < text.size() && (classOf(text[at]) & kSchemeCharacter) != 0) ++at;
  return at < text.size() && text[at] == ':' ? at + 1 : 0;
}

/// The first position from `at` on whose byte is of one of the classes, after checking the escapes
/// on the way; the size when there is none, std::string_view::npos after an illegal byte.
inline std::size_t findEnd(std::string_view text, std::size_t at, std::uint8_t endClasses) {
  const std::uint8_t stops = endClasses | kIllegal | kPercent;
  for (; at < text.size(); ++at) {
    const std::uint8_t bits = classOf(text[at]) & stops;
    if (bits == 0) continue;
    if ((bits & endClasses) != 0) return at;
    if ((bits & kIllegal) != 0 || text.size() - at < 3 ||
        (classOf(text[at + 1]) & classOf(text[at + 2]) & kHexDigit) == 0) {
      return std::string_view::npos;
    }
    at += 2;
  }
  return at;
}

/// The text of a URL with the characters escaped that may stand in it but not where they stand:
/// square brackets that do not begin or end a host, and the "#" of a URL that has no parts.
std::string escapeMisplaced(std::string_view text);

/// What else than an illegal character would end a path or not be part of it.
inline constexpr std::string_view kEscapedInPath = ";";
/// In the first segment of a relative path a ":" would make a scheme of what precedes it.
inline constexpr std::string_view kEscapedInFirstSegment = ";:";

/// The path with everything percent-encoded that cannot stand in the path of a URL: "?", "#",
/// brackets, "%", and the characters of `escaped`.
std::string encodedPath(std::string_view path, std::string_view escaped = kEscapedInPath);

}  // namespace korvane::urlcharacters
