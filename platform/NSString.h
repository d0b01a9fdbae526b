#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Export.h"

/// What the platform's text class does, as functions on UTF-8 texts. Pure: any thread may call.
namespace korvane {

/// The integer a text begins with: leading white space is skipped, then an optional sign and ASCII
/// digits are read up to the first other character. No digits give 0, out of range the nearest
/// limit.
KORVANE_EXPORT std::int64_t integerValue(std::string_view text);

/// The text with the decimal digits of every script (Unicode's category Nd) as ASCII digits: what a
/// formatter wrote for an Arabic or Bengali reader becomes what integerValue() reads.
KORVANE_EXPORT std::string stringByReplacingDecimalDigits(std::string_view text);

/// The longest decimal number a text begins with ("1.5e3x" gives 1500), after leading white space;
/// 0 without one. Correctly rounded, ties to even, whatever the process's locale.
KORVANE_EXPORT float floatValue(std::string_view text);
KORVANE_EXPORT double doubleValue(std::string_view text);

/// After leading white space: true for a first letter of Y, y, T or t, or for a number (an optional
/// sign, then leading zeros) whose next character is a digit 1 to 9; else false.
KORVANE_EXPORT bool boolValue(std::string_view text);

/// The text without Unicode white space and line breaks at both ends.
KORVANE_EXPORT std::string stringByTrimmingWhitespaceAndNewlines(std::string_view text);

/// Whether the text begins with "/" or "~". Nothing is expanded.
KORVANE_EXPORT bool isAbsolutePath(std::string_view path);

/// The last component of a path; trailing slashes are ignored, the root gives "/".
KORVANE_EXPORT std::string lastPathComponent(std::string_view path);

/// What follows the last "." of the last component, "" where there is none. A "." at the
/// component's beginning starts no extension (".profile"), nor does "..".
KORVANE_EXPORT std::string pathExtension(std::string_view path);

/// The text without its extension and the "." before it; unchanged where there is none
/// ("notes." loses the "." alone).
KORVANE_EXPORT std::string stringByDeletingPathExtension(std::string_view path);

/// The text, "." and the extension. Absent for an empty text or an extension that begins with "/".
KORVANE_EXPORT std::optional<std::string> stringByAppendingPathExtension(
    std::string_view path, std::string_view extension);

/// Whether the bytes are UTF-8 as RFC 3629 has it (no surrogates, no overlong forms).
KORVANE_EXPORT bool isUTF8(std::string_view bytes);

/// Appends the bytes with every "%" and two hexadecimal digits replaced by the byte they stand for,
/// and every "+" by a space where asked. False when a "%" is not followed by two; part of the bytes
/// may have been appended then.
KORVANE_EXPORT bool appendByReplacingPercentEscapes(std::string& to, std::string_view text,
                                                    bool plusAsSpace = false);

/// The bytes with every "%" and two hexadecimal digits replaced by the byte they stand for; absent
/// when a "%" is not followed by two. The result need not be UTF-8.
KORVANE_EXPORT std::optional<std::string> bytesByReplacingPercentEscapes(std::string_view text);

/// Replaces `to` by the text without its percent escapes (and without its "+", where asked), less
/// one U+FEFF at the beginning of the result: there it says how a text was stored. False, and any
/// text, when an escape is malformed or the result is not UTF-8.
KORVANE_EXPORT bool assignByReplacingPercentEscapes(std::string& to, std::string_view text,
                                                    bool plusAsSpace = false);

/// The same as a text of its own; absent where that is false.
KORVANE_EXPORT std::optional<std::string> stringByReplacingPercentEscapes(std::string_view text);

}  // namespace korvane
