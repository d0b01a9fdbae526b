#pragma once

// Internal to the property-list reader: the content of the elements that are not containers.

#include <optional>
#include <string>
#include <string_view>

#include "platform/Value.h"

namespace korvane {

// The value of the content of <integer>, <real>, <date> and <data>; nothing where it has not the
// element's form.

/// White space, a sign, decimal or (after "0x") hexadecimal digits, and nothing after them. From
/// -2^63 to 2^64-1; what no 64-bit integer holds becomes a fraction.
std::optional<Value> integerOfXML(std::string_view text);
/// White space and a decimal number, or a name such as "nan" and "+infinity" in any case.
std::optional<Value> realOfXML(std::string_view text);
/// "2016-11-16T12:30:00Z", and years of other lengths. A month or day too many runs on into the
/// next.
std::optional<Value> dateOfXML(std::string_view text);
/// Base64. Characters outside the alphabet are skipped, and an incomplete group at the end too.
std::optional<Value> dataOfXML(std::string_view text);

/// Appends the character that the reference at `at` stands for, in UTF-8, and moves past it. False
/// for anything but the five predefined entities and references to characters.
bool appendReference(const char*& at, const char* end, std::string& text);

}  // namespace korvane
