#pragma once

#include <string>
#include <string_view>

#include "platform/Export.h"

namespace korvane {

/// A name for a copy or a write until it is complete: ".korvane-" and sixteen random hexadecimal
/// digits. Any thread may call.
KORVANE_EXPORT std::string unfinishedName();

/// Whether a name is one of those. Any thread may call.
KORVANE_EXPORT bool isUnfinishedName(std::string_view name);

}  // namespace korvane
