#pragma once

// Internal to the property-list reader.

#include <optional>
#include <string_view>

#include "platform/Value.h"

namespace korvane {

/// Whether the bytes begin as the binary form does.
bool isBinaryPropertyList(std::string_view bytes);

/// The value of a property list in the binary form. Nothing when it is malformed.
std::optional<Value> readBinaryPropertyList(std::string_view bytes);

}  // namespace korvane
