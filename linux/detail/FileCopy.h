#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <string>

#include "linux/detail/FileDescriptor.h"
#include "linux/detail/FileTree.h"

// Copying by descriptors. Internal to the file services of this folder.
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

/// Copies what a file holds, up to the size it had when it was opened; holes stay holes. Throws
/// FileFailure.
void copyContent(const OpenedItem& source, int target, const std::string& path);

/// Copies all that a folder holds into an empty one. Links are copied as what they lead to, unless
/// they are refused. Fails, naming the path, at the first entry that cannot be copied, at a folder
/// that contains itself by a link, at the target inside the source, and after `maximumEntries`
/// entries. Leaves what was copied so far. Throws FileFailure.
void copyFolder(OpenedItem source, int target, const std::string& path, Links links,
                std::size_t maximumEntries);

}  // namespace korvane
