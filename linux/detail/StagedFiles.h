#pragma once

#include <string>

#include "platform/Export.h"

// What lies in the staging folder, as far as times tell: whether the mail client has come for it.
// Nothing here reads a file's content, which would look as if somebody had taken it.
namespace korvane {

/// Whether a folder holds, at any depth, a regular file that nobody has read since it was put
/// there: its access time is not after its change time. Empty files, unfinished copies and what
/// cannot be looked at count as read. False where there is no such folder. Any thread may call.
KORVANE_EXPORT bool holdsUnreadFiles(const std::string& folder);

/// Whether the file system of a folder notes that a file was read, found out with a file that is
/// made there and removed. True where that cannot be found out. Any thread may call.
KORVANE_EXPORT bool keepsAccessTimes(const std::string& folder);

}  // namespace korvane
