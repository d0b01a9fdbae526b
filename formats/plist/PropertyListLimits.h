#pragma once

#include <cstddef>

namespace korvane {

/// Lists and dictionaries inside one another beyond this many make a property list malformed.
inline constexpr std::size_t kMaxPropertyListDepth = 512;

}  // namespace korvane
