#include "linux/detail/FileCopy.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>
#include <vector>

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
// How many links to folders may lie inside one another.
constexpr std::size_t kMaximumNestedLinks = 40;
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

/// Refuses a source that ended before its size because it became shorter meanwhile. One that keeps
/// announcing more than it gives, as the kernel's own files do, is whole.
void refuseShortened(int from, off_t size, const std::string& path) {
  struct stat now = {};
  if (::fstat(from, &now) != 0) throw FileFailure{errno, path};
  if (now.st_size < size) throw FileFailure{EIO, path, "became shorter while it was being copied"};
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
      throw FileFailure{ELOOP, path, "a link inside the container is not followed"};
    }
    if (!S_ISREG(item.status.st_mode) && !S_ISDIR(item.status.st_mode)) {
      throw FileFailure{EOPNOTSUPP, path, "neither a file nor a folder"};
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

void copyContent(const OpenedItem& source, int target, const std::string& path) {
  const int from = source.descriptor.get();
  const off_t size = source.status.st_size;
  if (size == 0) {
    if (copyThroughBuffer(from, target, 0, kUnannouncedMaximum, path) >= kUnannouncedMaximum) {
      throw FileFailure{EFBIG, path, "grows without end"};
    }
    return;
  }
  if (size >= kWorthCloning && ::ioctl(target, FICLONE, from) == 0) return;

  if (source.status.st_blocks >= size / 512) {
    if (copyRange(from, target, 0, size, path) < size) refuseShortened(from, size, path);
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
      struct stat now = {};
      if (::fstat(from, &now) != 0) throw FileFailure{errno, path};
      end = std::max(end, std::min(size, now.st_size));
      break;
    }
    const off_t hole = ::lseek(from, data, SEEK_HOLE);
    const off_t stop = hole < 0 ? size : std::min(hole, size);
    end = copyRange(from, target, data, stop, path);
    if (end < stop) {
      refuseShortened(from, size, path);
      break;
    }
    offset = stop;
  }
  if (::ftruncate(target, end) != 0) throw FileFailure{errno, path};
}

namespace {

/// Copies the tree below one folder, going down and up again. Holds a descriptor for each of the
/// upper levels and for each link on the way, but none for ordinary folders below.
class FolderCopy {
 public:
  FolderCopy(Links links, std::size_t maximumEntries)
      : links_(links), entriesLeft_(maximumEntries) {}

  void run(OpenedItem source, int target, const std::string& path) {
    path_ = path;
    targetRoot_ = identity(status(target));
    FileDescriptor duplicate(::openat(target, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!duplicate) throw FileFailure{errno, path};
    enter(std::move(source), std::move(duplicate), {});
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
    bool isLink;
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

  void copyEntry(const Entry& entry) {
    const std::size_t pathLength = path_.size();
    path_ += "/" + entry.name;
    if (entriesLeft_-- == 0) throw FileFailure{E2BIG, path_, "the folder holds too much"};
    OpenedItem item = openItem(source_.get(), entry.name, path_, links_);
    if (item.isFolder()) {
      checkEnter(item, entry);
      if (::mkdirat(target_.get(), entry.name.c_str(), S_IRWXU) != 0) {
        throw FileFailure{errno, path_};
      }
      FileDescriptor made = openPrivateFolder(target_.get(), entry.name, path_);
      enter(std::move(item), std::move(made), {pathLength, entry.isLink});
      return;
    }
    const FileDescriptor made(::openat(target_.get(), entry.name.c_str(),
                                       O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                       S_IRUSR | S_IWUSR));
    if (!made) throw FileFailure{errno, path_};
    makePrivate(made.get(), path_);
    copyContent(item, made.get(), path_);
    path_.resize(pathLength);
  }

  void checkEnter(const OpenedItem& item, const Entry& entry) const {
    const Identity folder = identity(item.status);
    if (folder == targetRoot_) {
      throw FileFailure{EINVAL, path_, "a folder cannot be copied into itself"};
    }
    std::size_t links = entry.isLink ? 1 : 0;
    for (const Level& level : levels_) {
      if (level.source == folder)
        throw FileFailure{ELOOP, path_, "a link leads back to a folder that holds it"};
      if (level.isLink) ++links;
    }
    if (links > kMaximumNestedLinks) throw FileFailure{ELOOP, path_};
  }

  struct Origin {
    std::size_t pathLength = 0;
    bool isLink = false;
  };

  void enter(OpenedItem source, FileDescriptor target, Origin origin) {
    Level level;
    level.source = identity(source.status);
    level.target = identity(status(target.get()));
    level.entries = entriesOf(source.descriptor.get());
    level.pathLength = origin.pathLength;
    level.isLink = origin.isLink;
    const bool keep = origin.isLink || levels_.size() < kOpenLevels;
    if (keep) {
      level.sourceAbove = std::move(source_);
      level.targetAbove = std::move(target_);
    }
    source_ = std::move(source.descriptor);
    target_ = std::move(target);
    levels_.push_back(std::move(level));
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
      throw FileFailure{ESTALE, path_, "moved while it was being copied"};
    }
    return above;
  }

  /// The names in a folder, sorted, so that the same folder always gives the same first failure.
  std::vector<Entry> entriesOf(int folder) const {
    FileDescriptor again(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!again) throw FileFailure{errno, path_};
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(::fdopendir(again.get()), &::closedir);
    if (!stream) throw FileFailure{errno, path_};
    again.release();
    std::vector<Entry> entries;
    errno = 0;
    while (const dirent* entry = ::readdir(stream.get())) {
      std::string name = entry->d_name;
      if (name == "." || name == "..") continue;
      if (entries.size() >= entriesLeft_)
        throw FileFailure{E2BIG, path_, "the folder holds too much"};
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

  Links links_;
  std::size_t entriesLeft_;
  std::string path_;
  Identity targetRoot_{};
  FileDescriptor source_;
  FileDescriptor target_;
  std::vector<Level> levels_;
};

}  // namespace

void copyFolder(OpenedItem source, int target, const std::string& path, Links links,
                std::size_t maximumEntries) {
  FolderCopy(links, maximumEntries).run(std::move(source), target, path);
}

}  // namespace korvane
