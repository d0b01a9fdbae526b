#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "linux/detail/FileDescriptor.h"
#include "linux/detail/FileTree.h"
#include "platform/Export.h"

// Copying by descriptors, for the file services of this folder and for compose/.
namespace korvane {

/// An item opened to be copied.
struct OpenedItem {
  FileDescriptor descriptor;
  struct stat status = {};

  bool isFolder() const { return S_ISDIR(status.st_mode); }
};

/// Opens a file or folder for reading. Anything else (a FIFO, socket or device) is refused without
/// being opened. Throws FileFailure.
OpenedItem openItem(int folder, const std::string& name, const std::string& path, Links links);

/// Copies what a file holds; holes stay holes. A file whose size or time is another one afterwards
/// is copied again, three times at most; then it fails with EBUSY. One that grows meanwhile is
/// copied up to the size it had. Throws FileFailure.
KORVANE_EXPORT void copyContent(OpenedItem& source, int target, const std::string& path);

/// How a folder is copied.
struct FolderCopyRules {
  /// Refused: no link at all is followed. Followed: one that leads to a file inside the folder is
  /// copied as that file. Any other link is a failure.
  Links links = Links::followed;
  /// How many entries the folder may hold.
  std::size_t maximumEntries = 0;
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
