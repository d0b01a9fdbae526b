#pragma once

// Internal to the property-list reader.

#include <optional>
#include <string_view>

#include "platform/Value.h"

namespace korvane {

/// The value of a property list in the XML form, in any of its encodings. Nothing when it is
/// malformed.
std::optional<Value> readXMLPropertyList(std::string_view bytes);

}  // namespace korvane
