#pragma once

#include <optional>
#include <string_view>

#include "platform/Value.h"

namespace korvane {

/// The value that the bytes of a property list hold, in either form. Texts come out in UTF-8 (half
/// of a surrogate pair in a binary text as U+FFFD; a narrow binary text is Latin-1, and so is XML
/// that declares US-ASCII), integers above the 64-bit ones as fractions, and a UID as the
/// dictionary of "CF$UID" and its number, which is how the XML form writes it. The null object of
/// the binary form is an absent value; a key there that is not a text is left out together with its
/// value. Costs time and memory in proportion to the bytes, whatever they are.
std::optional<Value> propertyListFromBytes(std::string_view bytes);

}  // namespace korvane
