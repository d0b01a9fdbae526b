#pragma once

#include <cstddef>
#include <string_view>

#include "linux/detail/ContainerRoot.h"
#include "platform/Export.h"
#include "platform/NSFileManager.h"

namespace korvane {

struct FilePlace;

/// What a file manager works with.
struct KORVANE_EXPORT FileManagerOptions {
  ContainerRoot container = ContainerRoot();
  /// How many files and folders one copied folder may hold; more fail the copy.
  std::size_t maxEntries = 100'000;
};

/// Files and folders by POSIX. Any thread may call. Beside what NSFileManager says:
///
/// - On a path below the container no link is ever followed, whichever operation it is: what lies
///   behind one fails with ELOOP. The folders above the container may be links. Of ".." in such a
///   path only the text counts.
/// - Errors are those of the system (NSPOSIXErrorDomain), with the path in their text. A path that
///   is empty (ENOENT) or holds a NUL byte, or a URL that is not a file URL (EINVAL), is refused.
/// - A copy takes the time of `cp`: blocks are shared where the file system can, else copied inside
///   the kernel; holes stay holes. A file that is changed meanwhile is copied again, three times at
///   most, then it fails with EBUSY. Owners, times and modes are not copied.
/// - Inside a folder that is copied a link is followed to a file of that folder alone; one that
///   leads out and one to a folder fail with ELOOP. Without a delegate the first failure is that of
///   the whole item, and the error names what it is about. A folder of more than `maxEntries`
///   fails with E2BIG before anything is copied, and the delegate is not asked.
/// - A copy or a write is made under a name that begins with ".korvane-" in the destination's
///   folder and gets its own name when it is complete. A process that is killed in between leaves
///   that file. Nothing is forced onto the disk: "atomic" holds for other processes, not for a
///   power cut.
/// - A folder that is removed is gone for everybody else in one step: it gets such a name first. A
///   process that is killed leaves that folder, and removing that fails stops at the first failure
///   and gives what is left its name again.
class KORVANE_EXPORT FileManager : public NSFileManager {
 public:
  explicit FileManager(FileManagerOptions options = {});

  std::optional<NSURL> containerURLForSecurityApplicationGroupIdentifier(
      std::string_view group) override;
  bool removeItemAtURL(const NSURL& url, std::optional<NSError>& error) override;
  bool createDirectoryAtURL(const NSURL& url, bool withIntermediateDirectories,
                            std::optional<NSError>& error) override;
  bool copyItemAtPath(std::string_view source, std::string_view destination,
                      std::optional<NSError>& error) override;
  bool fileExistsAtPath(std::string_view path) override;
  bool directoryExistsAtPath(std::string_view path) override;
  std::vector<std::string> contentsOfDirectoryAtPath(std::string_view path) override;
  bool writeDataAtomically(const NSData& data, std::string_view path,
                           std::optional<NSError>& error) override;

 private:
  void createIntermediateDirectories(std::string_view path) const;

  FileManagerOptions options_;
};

}  // namespace korvane
