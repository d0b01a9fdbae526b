#pragma once

#include <string>
#include <string_view>

#include "text/ASCII.h"

// Percent escapes: "%" and the two hexadecimal digits of a byte (RFC 3986, section 2.1). Any thread
// may call.
namespace korvane {

/// Whether an escape begins at a position of the text.
constexpr bool isPercentEscape(std::string_view text, std::size_t at) {
  return text.size() > at + 2 && text[at] == '%' && isHexDigit(text[at + 1]) &&
         isHexDigit(text[at + 2]);
}

/// The byte that an escape stands for, which begins at a position of the text.
constexpr char percentEscapeValue(std::string_view text, std::size_t at) {
  return static_cast<char>(hexDigitValue(text[at + 1]) * 16 + hexDigitValue(text[at + 2]));
}

/// Appends a byte as an escape, with upper-case digits.
void appendPercentEscape(std::string& to, char byte);

/// Appends the bytes; all but letters and digits of ASCII, "-", ".", "_" and "~" as escapes.
void appendPercentEncoded(std::string& to, std::string_view bytes);

/// Appends the bytes with every escape replaced by the byte it stands for, and every "+" by a space
/// where asked. False when a "%" begins no escape; part of the bytes may have been appended then.
bool appendPercentDecoded(std::string& to, std::string_view bytes, bool plusAsSpace);

/// The bytes with every escape replaced by the byte it stands for; a "%" that begins none stands
/// for itself.
std::string percentDecodedLeniently(std::string_view bytes);

}  // namespace korvane
