#include "linux/detail/FileCopy.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <memory>
#include <utility>
#include <vector>

#include "platform/detail/Translation.h"

namespace korvane {
namespace {

// What one call to the kernel copies at most.
constexpr off_t kKernelPiece = off_t{1} << 30;
constexpr std::size_t kBufferSize = std::size_t{256} << 10;
// From this size on the kernel is asked to share all blocks; copying tries that, too, but hole by
// hole.
constexpr off_t kWorthCloning = off_t{64} << 10;
// What a file that calls itself empty (as those of /proc do) may hold.
constexpr off_t kUnannouncedMaximum = off_t{64} << 20;
// How often a file that was changed meanwhile is copied again.
constexpr int kMaximumRepeats = 3;
// Down to this depth every folder stays open; below, the way up is "..".
constexpr std::size_t kOpenLevels = 32;

/// Copies by reading and writing from `offset` to `end` or to the file's end; gives where it ended.
off_t copyThroughBuffer(int source, int target, off_t offset, off_t end, const std::string& path) {
  const auto buffer = std::make_unique_for_overwrite<char[]>(kBufferSize);
  while (offset < end) {
    const std::size_t wanted = std::min(static_cast<std::size_t>(end - offset), kBufferSize);
    const ssize_t got = ::pread(source, buffer.get(), wanted, offset);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw FileFailure{errno, path};
    if (got == 0) break;
    for (ssize_t written = 0; written < got;) {
      const ssize_t count = ::pwrite(target, buffer.get() + written,
                                     static_cast<std::size_t>(got - written), offset + written);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) throw FileFailure{errno, path};
      written += count;
    }
    offset += got;
  }
  return offset;
}

/// Copies inside the kernel, else through a buffer; gives where it ended.
off_t copyRange(int source, int target, off_t offset, off_t end, const std::string& path) {
  while (offset < end) {
    off_t from = offset;
    off_t to = offset;
    const ssize_t count =
        ::copy_file_range(source, &from, target, &to,
                          static_cast<std::size_t>(std::min(end - offset, kKernelPiece)), 0);
    if (count < 0 && errno == EINTR) continue;
    // Some pairs of file systems cannot do it, and files without a real size give nothing. A
    // real failure shows again there.
    if (count <= 0) return copyThroughBuffer(source, target, offset, end, path);
    offset += count;
  }
  return offset;
}

}  // namespace

OpenedItem openItem(int folder, const std::string& name, const std::string& path, Links links) {
  const bool follow = links == Links::followed;
  OpenedItem item;
  // Looked at before it is opened: opening a device or a FIFO can have effects of its own.
  if (::fstatat(folder, name.c_str(), &item.status, follow ? 0 : AT_SYMLINK_NOFOLLOW) != 0) {
    throw FileFailure{errno, path};
  }
  const auto check = [&] {
    if (S_ISLNK(item.status.st_mode)) {
      throw FileFailure{ELOOP, path, translated("a link inside the container is not followed")};
    }
    if (!S_ISREG(item.status.st_mode) && !S_ISDIR(item.status.st_mode)) {
      throw FileFailure{EOPNOTSUPP, path, translated("neither a file nor a folder")};
    }
  };
  check();
  item.descriptor = FileDescriptor(
      ::openat(folder, name.c_str(),
               O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | (follow ? 0 : O_NOFOLLOW)));
  if (!item.descriptor || ::fstat(item.descriptor.get(), &item.status) != 0) {
    throw FileFailure{errno, path};
  }
  check();  // it may have been exchanged in between
  return item;
}

namespace {

void copyOnce(const OpenedItem& source, int target, const std::string& path) {
  const int from = source.descriptor.get();
  const off_t size = source.status.st_size;
  if (size == 0) {
    if (copyThroughBuffer(from, target, 0, kUnannouncedMaximum, path) >= kUnannouncedMaximum) {
      throw FileFailure{EFBIG, path, translated("grows without end")};
    }
    return;
  }
  if (size >= kWorthCloning && ::ioctl(target, FICLONE, from) == 0) return;

  if (source.status.st_blocks >= size / 512) {
    copyRange(from, target, 0, size, path);
    return;
  }
  // There are holes: only what lies between them is copied.
  off_t end = 0;
  for (off_t offset = 0; offset < size;) {
    const off_t data = ::lseek(from, offset, SEEK_DATA);
    if (data < 0 && errno != ENXIO) {  // the file system does not tell
      end = copyRange(from, target, offset, size, path);
      break;
    }
    if (data < 0 || data >= size) {  // a hole up to the end
      end = size;
      break;
    }
    const off_t hole = ::lseek(from, data, SEEK_HOLE);
    const off_t stop = hole < 0 ? size : std::min(hole, size);
    end = copyRange(from, target, data, stop, path);
    if (end < stop) break;
    offset = stop;
  }
  if (::ftruncate(target, end) != 0) throw FileFailure{errno, path};
}

bool isSameVersion(const struct stat& a, const struct stat& b) {
  return a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
         a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

}  // namespace

void copyContent(OpenedItem& source, int target, const std::string& path) {
  for (int repeats = 0;; ++repeats) {
    copyOnce(source, target, path);
    struct stat now = {};
    if (::fstat(source.descriptor.get(), &now) != 0) throw FileFailure{errno, path};
    if (isSameVersion(source.status, now)) return;
    if (repeats == kMaximumRepeats) {
      throw FileFailure{EBUSY, path,
                        translated("is being changed over and over while it is copied")};
    }
    source.status = now;
    if (::ftruncate(target, 0) != 0) throw FileFailure{errno, path};
  }
}

namespace {

/// The path that a descriptor leads to at this moment, links resolved.
std::string realPath(int descriptor, const std::string& path) {
  std::array<char, PATH_MAX + 1> buffer{};
  const std::string self = "/proc/self/fd/" + std::to_string(descriptor);
  const ssize_t length = ::readlink(self.c_str(), buffer.data(), buffer.size());
  if (length < 0) throw FileFailure{errno, path};
  return {buffer.data(), static_cast<std::size_t>(length)};
}

/// Opens the file that a link leads to, where that lies below `root`. What is opened is what was
/// looked at, so that nobody can exchange the one for the other.
OpenedItem openLinkedFile(int root, int folder, const std::string& name, const std::string& path) {
  const FileDescriptor found(::openat(folder, name.c_str(), O_PATH | O_CLOEXEC));
  OpenedItem item;
  if (!found || ::fstat(found.get(), &item.status) != 0) throw FileFailure{errno, path};
  std::string inside = realPath(root, path);
  if (!inside.ends_with('/')) inside += '/';
  if (!realPath(found.get(), path).starts_with(inside)) {
    throw FileFailure{ELOOP, path,
                      translated("a link that leads out of the folder is not followed")};
  }
  if (item.isFolder())
    throw FileFailure{ELOOP, path, translated("a link to a folder is not followed")};
  if (!S_ISREG(item.status.st_mode)) {
    throw FileFailure{EOPNOTSUPP, path, translated("neither a file nor a folder")};
  }
  const std::string self = "/proc/self/fd/" + std::to_string(found.get());
  item.descriptor = FileDescriptor(::open(self.c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC));
  if (!item.descriptor || ::fstat(item.descriptor.get(), &item.status) != 0) {
    throw FileFailure{errno, path};
  }
  return item;
}

/// The failure of a folder that holds too much, after which nobody is asked.
struct FolderTooLarge : FileFailure {};

/// Whether more lies below a folder than so many entries; no where that cannot be told.
bool holdsMore(int folder, std::size_t maximumEntries) {
  namespace fs = std::filesystem;
  const fs::path path = "/proc/self/fd/" + std::to_string(folder) + "/.";
  std::error_code error;
  fs::recursive_directory_iterator entry(path, fs::directory_options::skip_permission_denied,
                                         error);
  std::size_t count = 0;
  while (!error && entry != fs::recursive_directory_iterator()) {
    if (++count > maximumEntries) return true;
    entry.increment(error);
  }
  return false;
}

/// Copies the tree below one folder, going down and up again. Holds a descriptor for each of the
/// upper levels, but none for those below.
class FolderCopy {
 public:
  explicit FolderCopy(const FolderCopyRules& rules)
      : rules_(rules), entriesLeft_(rules.maximumEntries) {}

  void run(OpenedItem source, int target, const std::string& path) {
    path_ = path;
    relativeStart_ = path.size() + 1;
    if (holdsMore(source.descriptor.get(), rules_.maximumEntries)) throw tooLarge(path);
    targetRoot_ = identity(status(target));
    root_ = openAgain(source.descriptor.get(), O_PATH);
    enter(std::move(source), openAgain(target, O_RDONLY), path_.size());
    while (!levels_.empty()) {
      Level& level = levels_.back();
      if (level.next == level.entries.size()) {
        leave();
        continue;
      }
      const Entry entry = std::move(level.entries[level.next++]);  // entering moves the level
      copyEntry(entry);
    }
  }

 private:
  struct Entry {
    std::string name;
    bool isLink;
  };
  struct Identity {
    dev_t device;
    ino_t inode;
    friend bool operator==(const Identity&, const Identity&) = default;
  };
  struct Level {
    Identity source;
    Identity target;
    std::vector<Entry> entries;
    std::size_t next = 0;
    std::size_t pathLength;  // of the level above
    // The level above, where it stays open.
    FileDescriptor sourceAbove;
    FileDescriptor targetAbove;
  };

  static Identity identity(const struct stat& status) { return {status.st_dev, status.st_ino}; }

  struct stat status(int descriptor) const {
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0) throw FileFailure{errno, path_};
    return status;
  }

  FileDescriptor openAgain(int folder, int access) const {
    FileDescriptor opened(::openat(folder, ".", access | O_DIRECTORY | O_CLOEXEC));
    if (!opened) throw FileFailure{errno, path_};
    return opened;
  }

  FolderTooLarge tooLarge(const std::string& path) const {
    return {{E2BIG, path,
             translated("holds more than {0} files and folders",
                        std::to_string(rules_.maximumEntries))}};
  }

  void copyEntry(const Entry& entry) {
    const std::size_t pathLength = path_.size();
    path_ += "/" + entry.name;
    if (entriesLeft_-- == 0) throw tooLarge(path_.substr(0, relativeStart_ - 1));
    try {
      OpenedItem item = entry.isLink && rules_.links == Links::followed
                            ? openLinkedFile(root_.get(), source_.get(), entry.name, path_)
                            : openItem(source_.get(), entry.name, path_, Links::refused);
      if (item.isFolder()) {
        enterFolder(std::move(item), entry.name, pathLength);
        return;
      }
      copyFile(item, entry.name);
    } catch (const FolderTooLarge&) {
      throw;
    } catch (const FileFailure& failure) {
      const std::string_view relative = std::string_view(path_).substr(relativeStart_);
      if (!rules_.shouldProceed || !rules_.shouldProceed(failure, relative)) throw;
    }
    path_.resize(pathLength);
  }

  void copyFile(OpenedItem& item, const std::string& name) {
    const FileDescriptor made(::openat(target_.get(), name.c_str(),
                                       O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                       S_IRUSR | S_IWUSR));
    if (!made) throw FileFailure{errno, path_};
    try {
      makePrivate(made.get(), path_);
      copyContent(item, made.get(), path_);
    } catch (...) {
      ::unlinkat(target_.get(), name.c_str(), 0);
      throw;
    }
  }

  void enterFolder(OpenedItem item, const std::string& name, std::size_t pathLength) {
    if (identity(item.status) == targetRoot_) {
      throw FileFailure{EINVAL, path_, translated("a folder cannot be copied into itself")};
    }
    if (::mkdirat(target_.get(), name.c_str(), S_IRWXU) != 0) throw FileFailure{errno, path_};
    try {
      FileDescriptor made = openPrivateFolder(target_.get(), name, path_);
      enter(std::move(item), std::move(made), pathLength);
    } catch (...) {
      ::unlinkat(target_.get(), name.c_str(), AT_REMOVEDIR);
      throw;
    }
  }

  /// Goes into a folder, or stays where it is and throws.
  void enter(OpenedItem source, FileDescriptor target, std::size_t pathLength) {
    Level level;
    level.source = identity(source.status);
    level.target = identity(status(target.get()));
    level.entries = entriesOf(source.descriptor.get());
    level.pathLength = pathLength;
    levels_.push_back(std::move(level));
    if (levels_.size() <= kOpenLevels) {
      levels_.back().sourceAbove = std::move(source_);
      levels_.back().targetAbove = std::move(target_);
    }
    source_ = std::move(source.descriptor);
    target_ = std::move(target);
  }

  void leave() {
    Level left = std::move(levels_.back());
    levels_.pop_back();
    if (levels_.empty()) return;
    if (left.targetAbove) {
      source_ = std::move(left.sourceAbove);
      target_ = std::move(left.targetAbove);
    } else {
      source_ = folderAbove(source_.get(), levels_.back().source);
      target_ = folderAbove(target_.get(), levels_.back().target);
    }
    path_.resize(left.pathLength);
  }

  FileDescriptor folderAbove(int folder, Identity expected) const {
    FileDescriptor above(::openat(folder, "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!above) throw FileFailure{errno, path_};
    if (identity(status(above.get())) != expected) {
      throw FileFailure{ESTALE, path_, translated("moved while it was being copied")};
    }
    return above;
  }

  /// The names in a folder, sorted, so that the same folder always gives the same first failure.
  std::vector<Entry> entriesOf(int folder) const {
    FileDescriptor again = openAgain(folder, O_RDONLY);
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(::fdopendir(again.get()), &::closedir);
    if (!stream) throw FileFailure{errno, path_};
    again.release();
    std::vector<Entry> entries;
    errno = 0;
    while (const dirent* entry = ::readdir(stream.get())) {
      std::string name = entry->d_name;
      if (name == "." || name == "..") continue;
      if (entries.size() >= entriesLeft_) throw tooLarge(path_.substr(0, relativeStart_ - 1));
      bool isLink = entry->d_type == DT_LNK;
      if (entry->d_type == DT_UNKNOWN) {
        struct stat found = {};
        isLink = ::fstatat(folder, name.c_str(), &found, AT_SYMLINK_NOFOLLOW) == 0 &&
                 S_ISLNK(found.st_mode);
      }
      entries.push_back({std::move(name), isLink});
      errno = 0;
    }
    if (errno != 0) throw FileFailure{errno, path_};
    std::ranges::sort(entries, {}, &Entry::name);
    return entries;
  }

  const FolderCopyRules& rules_;
  std::size_t entriesLeft_;
  std::string path_;
  std::size_t relativeStart_ = 0;
  Identity targetRoot_{};
  FileDescriptor root_;
  FileDescriptor source_;
  FileDescriptor target_;
  std::vector<Level> levels_;
};

}  // namespace

void copyFolder(OpenedItem source, int target, const std::string& path,
                const FolderCopyRules& rules) {
  FolderCopy(rules).run(std::move(source), target, path);
}

}  // namespace korvane
