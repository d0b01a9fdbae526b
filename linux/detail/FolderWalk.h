#pragma once

#include <functional>
#include <string>

#include "platform/Export.h"

// For sources of this folder only.
namespace korvane {

/// How a walk goes on after an entry: into it where it is a folder, past it, or not at all.
enum class FolderWalk { goOn, goOnOutside, stop };

/// Looks at all that a folder holds, at any depth, in no order, until `visit` stops it; gives
/// whether it did. `visit` gets the folder that an entry lies in, opened, and the entry's name.
/// Links are never followed, and what cannot be opened is passed by. The depth has no bound, costs
/// some forty descriptors at most, and no time beyond that of the entries: no path is made. Where
/// a folder is moved meanwhile the walk may end early. Throws nothing but for want of memory.
KORVANE_EXPORT bool walkFolder(
    int folder, const std::function<FolderWalk(int place, const std::string& name)>& visit);

}  // namespace korvane
