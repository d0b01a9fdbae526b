#include "linux/detail/FolderCopy.h"

#include <dirent.h>
#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <memory>
#include <utility>
#include <vector>

#include "linux/detail/FolderWalk.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

// Down to this depth every folder stays open; below, the way up is "..".
constexpr std::size_t kOpenLevels = 32;

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
bool holdsMore(int folder, std::size_t maxEntries) {
  std::size_t count = 0;
  return walkFolder(folder, [&](int, const std::string&) {
    return ++count > maxEntries ? FolderWalk::stop : FolderWalk::goOn;
  });
}

/// Copies the tree below one folder, going down and up again. Holds a descriptor for each of the
/// upper levels, but none for those below.
class FolderCopy {
 public:
  explicit FolderCopy(const FolderCopyRules& rules)
      : rules_(rules), entriesLeft_(rules.maxEntries) {}

  void run(OpenedItem source, int target, const std::string& path) {
    path_ = path;
    relativeStart_ = path.size() + 1;
    if (holdsMore(source.descriptor.get(), rules_.maxEntries)) throw tooLarge(path);
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
    return {
        {E2BIG, path,
         translated("holds more than {0} files and folders", std::to_string(rules_.maxEntries))}};
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
