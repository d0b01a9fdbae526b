#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// UTF-8 as RFC 3629 has it: no surrogates, no overlong forms, nothing above U+10FFFF. Any thread
// may call.
namespace korvane {

/// What stands where something is not a character.
inline constexpr char32_t kReplacementCharacter = 0xFFFD;
inline constexpr std::string_view kReplacementUTF8 = "\xEF\xBF\xBD";

/// How the bytes of a text begin that marks itself as UTF-8.
inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// The first character of a text, or the bytes at its beginning that are none.
struct UTF8Character {
  char32_t code = kReplacementCharacter;
  /// How many bytes it has; of what is not UTF-8 those that could have begun a character, at least
  /// one, for which browsers show one replacement character.
  std::uint32_t size = 1;
  bool isValid = false;
};

// The same as below, where the character is not ASCII.
UTF8Character wideUTF8Character(std::string_view text);

/// The first character of a text that is not empty.
inline UTF8Character firstUTF8Character(std::string_view text) {
  const auto byte = static_cast<unsigned char>(text[0]);
  return byte < 0x80 ? UTF8Character{byte, 1, true} : wideUTF8Character(text);
}

/// Whether a byte is one that goes on with a character.
constexpr bool isUTF8Continuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// Whether all of the bytes are UTF-8.
bool isValidUTF8(std::string_view bytes);

/// How many characters a text of UTF-8 has, which in our languages is how many columns it takes.
constexpr std::size_t columnsOf(std::string_view text) {
  std::size_t count = 0;
  for (const char byte : text) count += isUTF8Continuation(byte) ? 0 : 1;
  return count;
}

/// Appends a character (up to U+10FFFF, no surrogate) in UTF-8.
void appendUTF8(char32_t code, std::string& text);

/// The text of as many 16-bit units, their most significant bytes first; half of a surrogate pair
/// becomes U+FFFD.
std::string utf8OfUTF16(const unsigned char* bytes, std::size_t units);

}  // namespace korvane
