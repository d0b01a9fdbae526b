#pragma once

#include <chrono>
#include <string>

#include "linux/detail/FileDescriptor.h"
#include "platform/Export.h"
#include "platform/NSError.h"

// Work on files and folders by descriptors, so that no step can be led elsewhere by a link that
// somebody puts into a path meanwhile. Internal to the file services of this folder.
namespace korvane {

/// A step that failed: an errno value, the path it failed at, and a text where the system's own
/// does not tell enough.
struct KORVANE_EXPORT FileFailure {
  int code = 0;
  std::string path;
  std::string text = {};

  NSError error() const;
};

/// Whether a link found on the way is followed.
enum class Links { followed, refused };

/// Where an item lies: its folder, opened, its name in it, and its path for messages.
struct FilePlace {
  FileDescriptor folder;
  std::string name;
  std::string path;
  Links links = Links::followed;
};

/// Opens an entry of a folder that is a folder itself, and makes its mode 0700. Never a link.
FileDescriptor openPrivateFolder(int folder, const std::string& name, const std::string& path);

/// Gives a file that was just made mode 0600 where the process's mask took some of it.
void makePrivate(int file, const std::string& path);

/// Removes an entry of a folder, with all it holds if it is a folder. Links are removed, not
/// followed; folders that deny their owner access are opened up first. The depth has no bound and
/// costs no descriptors. Throws FileFailure.
KORVANE_EXPORT void removeEntry(int folder, const std::string& name, const std::string& path);

/// The same in one step for everybody else: a folder gets an unfinished name first. Where it cannot
/// be removed, what is left of it has its own name again. Throws FileFailure.
KORVANE_EXPORT void removeEntryAtOnce(const FilePlace& place);

/// Waits, for so long at most, until no such removal is going on in this process.
KORVANE_EXPORT void awaitRemovals(std::chrono::milliseconds limit);

/// A folder of an unfinished name, as long as this lives: others know by it that it is not left
/// over from somebody who was killed.
class HeldFolder {
 public:
  /// Holds a folder that is there. Failing is no harm.
  HeldFolder(int folder, const std::string& name);

 private:
  FileDescriptor descriptor_;
};

/// Removes from a folder, as far as that is possible, the folders of unfinished names that nobody
/// holds.
void removeAbandonedFolders(const std::string& folder);

/// A file or folder that gets its name only when it is complete: it is made under a name of its
/// own, and removed if it never becomes complete.
class UnfinishedEntry {
 public:
  enum class Kind { file, folder };
  /// What happens to an entry that has the final name already. A folder can only be refused one.
  enum class Existing { refused, replaced };

  /// Makes an empty file (mode 0600) or folder (0700) in the folder of `place`, which is used until
  /// this goes. Throws FileFailure.
  UnfinishedEntry(const FilePlace& place, Kind kind);
  ~UnfinishedEntry();
  UnfinishedEntry(const UnfinishedEntry&) = delete;
  UnfinishedEntry& operator=(const UnfinishedEntry&) = delete;

  /// The file, open for writing, or the folder, open for reading.
  int descriptor() const { return descriptor_.get(); }
  /// Gives the entry the name of its place. Throws FileFailure.
  void publish(Existing existing);

 private:
  void remove() noexcept;

  const FilePlace& place_;
  std::string name_;
  FileDescriptor descriptor_;
  bool published_ = false;
};

}  // namespace korvane
