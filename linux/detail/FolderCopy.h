#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "linux/detail/FileCopy.h"

namespace korvane {

/// How a folder is copied.
struct FolderCopyRules {
  /// Refused: no link at all is followed. Followed: one that leads to a file inside the folder is
  /// copied as that file. Any other link is a failure.
  Links links = Links::followed;
  /// How many entries the folder may hold.
  std::size_t maxEntries = 0;
  /// Whether to go on without an entry that cannot be copied; `relative` is its path below the
  /// folder. Where it is empty, the first failure ends the copy.
  std::function<bool(const FileFailure& failure, std::string_view relative)> shouldProceed;
};

/// Copies all that a folder holds into an empty one. Fails, naming the path, at the first entry
/// that cannot be copied and without which it may not go on, and with E2BIG, before anything is
/// copied where that can be told, for a folder that holds too much. The target itself, found inside
/// the folder, is such an entry. Leaves what was copied so far. Throws FileFailure.
void copyFolder(OpenedItem source, int target, const std::string& path,
                const FolderCopyRules& rules);

}  // namespace korvane
