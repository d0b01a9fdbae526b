#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "text/ASCII.h"

/// What the link detector knows of characters. Any thread may call.
namespace korvane::links {

/// One character of a UTF-8 text, or one byte that belongs to none.
struct Character {
  char32_t scalar = invalid;
  std::size_t length = 1;  // in bytes
  static constexpr char32_t invalid = 0xFFFFFFFF;
};

// The same as below, where the character is not ASCII.
Character wideCharacterAt(std::string_view text, std::size_t at);

/// The character that begins at a position of the text.
inline Character characterAt(std::string_view text, std::size_t at) {
  if (isASCII(text[at])) return {static_cast<char32_t>(text[at]), 1};
  return wideCharacterAt(text, at);
}
/// The character that ends before a position, which is not 0.
Character characterBefore(std::string_view text, std::size_t at);

// Legal in a URL (RFC 3986), "%" and the brackets included; braces, "|" and "^" too, which people
// write in templates, lists and queries and which come out percent-encoded.
inline constexpr auto asciiLinkCharacters = [] {
  std::array<bool, 128> table{};
  for (std::size_t c = 0; c < table.size(); ++c) table[c] = isAlphanumeric(static_cast<char>(c));
  for (const char c : std::string_view("-._~:/?#[]@!$&'()*+,;=%{|}^")) {
    table[static_cast<unsigned char>(c)] = true;
  }
  return table;
}();

// What the functions below say beyond ASCII.
bool isWideHostCharacter(char32_t scalar);
bool isWideLinkCharacter(char32_t scalar);
bool isWideWrittenWithoutSpaces(char32_t scalar);

/// Whether a character may stand in a host's label: a letter, digit or mark of any script.
inline bool isHostCharacter(char32_t scalar) {
  return scalar < 0x80 ? isAlphanumeric(static_cast<char>(scalar)) : isWideHostCharacter(scalar);
}
/// Whether a character may stand in a path, query or fragment: what is legal in a URL, brackets,
/// and letters, digits, marks, dashes and symbols of any script. Not the punctuation of other
/// scripts, and nothing that is invisible or changes the direction of the text.
inline bool isLinkCharacter(char32_t scalar) {
  return scalar < 0x80 ? asciiLinkCharacters[scalar] : isWideLinkCharacter(scalar);
}
/// Whether a character that is neither of the two above stands inside words of some languages, so
/// that between two letters it is a part of a link: a typographic apostrophe, the katakana middle
/// dot, the Hebrew geresh, and the joiners that say how letters and emoji are drawn.
bool isWordJoiner(char32_t scalar);
/// Whether a host may hold a character although it is not a letter: symbols and emoji.
bool isHostSymbol(char32_t scalar);
/// Whether a host's labels may be parted by a character as by "." (UTS #46).
constexpr bool isWideDot(char32_t scalar) {
  return scalar == 0x3002 || scalar == 0xFF0E || scalar == 0xFF61;
}
/// Whether nothing is seen of a character, while it may be part of what a program reads: zero-width
/// and bidirectional formatting characters, variation selectors.
bool isInvisible(char32_t scalar);
/// Whether a symbol is one that people put before a link: arrows, bullets, pointing hands.
bool isBullet(char32_t scalar);
/// Whether a link does not end with a character, though it may hold it: dashes and separating dots
/// of other scripts, as ASCII's punctuation.
bool isTrailingMark(char32_t scalar);
/// Whether a character belongs to a script whose words stand right before and behind a link: one
/// without spaces between words, or with particles behind the words (Korean).
inline bool isWrittenWithoutSpaces(char32_t scalar) {
  return scalar >= 0x80 && isWideWrittenWithoutSpaces(scalar);
}

/// Adds the characters as a URL holds them: legal ones as they are, all others, a "%" without two
/// hexadecimal digits and every "#" but the first percent-encoded. NSURL itself does so with square
/// brackets outside the host.
void appendEncoded(std::string& url, std::string_view characters);

}  // namespace korvane::links
