#pragma once

#include <sys/stat.h>

#include <string>

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

/// Copies what a file holds; holes stay holes. A file that was written to within the last moments
/// is waited for, and one whose size or time is another one afterwards is copied again, both three
/// times at most; then it fails with EBUSY. One that grows meanwhile is copied up to the size it
/// had. Throws FileFailure.
KORVANE_EXPORT void copyContent(OpenedItem& source, int target, const std::string& path);

}  // namespace korvane
