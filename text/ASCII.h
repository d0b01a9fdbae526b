#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// What is known of ASCII characters. A byte of a character outside ASCII is none of these. Any
// thread may call.
namespace korvane {

constexpr bool isASCII(char c) { return static_cast<unsigned char>(c) < 0x80; }
constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool isAlphanumeric(char c) { return isDigit(c) || isLetter(c); }

/// The value of a hexadecimal digit of either case, 16 for any other byte.
constexpr unsigned hexDigitValue(char c) {
  if (isDigit(c)) return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10;
  return 16;
}
constexpr bool isHexDigit(char c) { return hexDigitValue(c) < 16; }

/// The letters A to Z in lower case, all other bytes as they are.
constexpr char lowercase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }
inline std::string lowercase(std::string_view text) {
  std::string lower(text);
  // Written only where it changes: most texts are short words in lower case.
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = lowercase(c);
  }
  return lower;
}

/// Whether two texts are the same but for the case of the letters A to Z.
constexpr bool equalIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (lowercase(a[i]) != lowercase(b[i])) return false;
  }
  return true;
}

/// Some of the ASCII characters, put together when the program is compiled.
class ASCIISet {
 public:
  // Not explicit, so that a literal names the set where it is asked for.
  consteval ASCIISet(const char* characters) : ASCIISet(std::string_view(characters)) {}
  consteval ASCIISet(std::string_view characters) {
    for (const char c : characters) {
      const auto code = static_cast<unsigned char>(c);
      bits_.at(code / 64) |= std::uint64_t{1} << (code % 64);
    }
  }

  constexpr bool holds(char c) const {
    const auto code = static_cast<unsigned char>(c);
    return code < 0x80 && (bits_[code / 64] >> (code % 64) & 1) != 0;
  }

 private:
  std::array<std::uint64_t, 2> bits_{};
};

constexpr bool isOneOf(char c, ASCIISet characters) { return characters.holds(c); }

}  // namespace korvane
