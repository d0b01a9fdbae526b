#pragma once

#include <string>

#include "linux/detail/FileDescriptor.h"
#include "platform/Export.h"

namespace korvane {

/// A private folder (0700) of an unfinished name for what is fetched before a share begins; it goes
/// with this object, with all that it holds. One of a process that was killed goes with a later
/// share: see removeAbandonedFolders().
class KORVANE_EXPORT FetchFolder {
 public:
  /// Makes it in `parent`, an absolute path; the Platform makes that where it is missing. Throws
  /// FileFailure.
  explicit FetchFolder(const std::string& parent);
  ~FetchFolder();
  FetchFolder(const FetchFolder&) = delete;
  FetchFolder& operator=(const FetchFolder&) = delete;

  /// Its absolute path.
  std::string path() const;

  /// Removes all those of this process, which is about to end without destroying them. Any thread
  /// may call.
  static void removeAll() noexcept;

 private:
  /// Whether this process has the folder for itself.
  bool make();
  void remove() noexcept;

  const std::string parent_;
  FileDescriptor holder_;  // the parent
  std::string name_;
  FileDescriptor held_;  // the folder, locked: others know by it that it is not left over
};

}  // namespace korvane
