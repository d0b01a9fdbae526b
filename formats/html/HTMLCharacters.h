#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "platform/Value.h"

/// The bytes and characters of HTML documents. Pure: any thread may call.
namespace korvane {

/// The text of an HTML document in UTF-8, without null characters, its line breaks "\n". The
/// encoding is that of a byte order mark, UTF-16 where the bytes look like it (as browsers hand
/// over selections), that of a <meta charset> at the beginning, else UTF-8 where the bytes are
/// that, else windows-1252. What does not decode becomes U+FFFD.
std::string htmlText(const NSData& document);

enum class HTMLPlace { text, attribute };

/// The text with its character references ("&amp;", "&#228;", "&#xE4;") replaced: all names
/// of HTML; others stay as they are. UTF-8 in and out.
std::string decodeCharacterReferences(std::string_view text, HTMLPlace place);

/// The text without the control characters that HTML does not allow: a form feed or carriage return
/// becomes a space, the others but tab and line feed go.
std::string withoutControlCharacters(std::string_view text);

/// Appends the text with everything that means something in HTML escaped, for text and for values
/// in double quotes alike. What it is given has gone through withoutControlCharacters.
void appendHTMLEscaped(std::string_view text, std::string& out);

inline bool isHTMLSpace(char c) {
  return c == ' ' || c == '\n' || c == '\t' || c == '\f' || c == '\r';
}

inline bool isHTMLSpaceOnly(std::string_view text) {
  return std::all_of(text.begin(), text.end(), isHTMLSpace);
}

}  // namespace korvane
