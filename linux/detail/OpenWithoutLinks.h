#pragma once

#include <cstdint>
#include <string>

#include "linux/detail/FileDescriptor.h"
#include "platform/Export.h"

namespace korvane {

/// Where a path may lead.
enum class PathReach {
  anywhere,  ///< ".." and an absolute path count as everywhere
  beneath,   ///< they fail with EXDEV where they lead out of the folder
};

/// Opens what a path leads to from a folder (or AT_FDCWD) on, in one step and with no link on the
/// way or at its end: one fails with ELOOP. `flags` are open's; the descriptor is closed in
/// programs that are started. Nothing is open, and errno tells why, where that fails; ENOSYS where
/// the kernel is older than 5.6. Any thread may call.
KORVANE_EXPORT FileDescriptor openWithoutLinks(int folder, const std::string& path,
                                               std::uint64_t flags,
                                               PathReach reach = PathReach::anywhere);

}  // namespace korvane
