#include "linux/detail/FileTree.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <system_error>
#include <vector>

#include "linux/detail/UnfinishedNames.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
// How often a folder into which others keep writing is emptied again before it is given up.
constexpr int kMaxRefills = 100;

struct Identity {
  dev_t device;
  ino_t inode;
  friend bool operator==(const Identity&, const Identity&) = default;
};

Identity identity(int descriptor, const std::string& path) {
  struct stat status = {};
  if (::fstat(descriptor, &status) != 0) throw FileFailure{errno, path};
  return {status.st_dev, status.st_ino};
}

/// Opens a folder's entry that is a folder, whatever its mode says, and lets its owner do anything.
FileDescriptor openOwnFolder(int folder, const std::string& name, const std::string& path) {
  FileDescriptor handle(
      ::openat(folder, name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status = {};
  if (!handle || ::fstat(handle.get(), &status) != 0) throw FileFailure{errno, path};
  if ((status.st_mode & S_IRWXU) != S_IRWXU) {
    // A descriptor without permissions of its own can be named through /proc, and only so is it
    // certain that the mode of this very folder changes. Failing is no harm: what follows says so.
    const std::string self = "/proc/self/fd/" + std::to_string(handle.get());
    (void)::chmod(self.c_str(), (status.st_mode & 07777) | S_IRWXU);
  }
  FileDescriptor opened(::openat(handle.get(), ".", kOpenFolder));
  if (!opened) throw FileFailure{errno, path};
  return opened;
}

/// The first entry of a folder that is a folder; everything before it is removed. "" when the
/// folder is empty.
std::string removeFilesUpToFolder(int folder, const std::string& path) {
  // Opened anew, so that reading starts at the beginning.
  FileDescriptor again(::openat(folder, ".", kOpenFolder));
  if (!again) throw FileFailure{errno, path};
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(::fdopendir(again.get()), &::closedir);
  if (!entries) throw FileFailure{errno, path};
  again.release();

  errno = 0;
  while (const dirent* entry = ::readdir(entries.get())) {
    std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    bool isFolder = entry->d_type == DT_DIR;
    if (entry->d_type == DT_UNKNOWN) {
      struct stat status = {};
      isFolder = ::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                 S_ISDIR(status.st_mode);
    }
    if (isFolder) return name;
    if (::unlinkat(folder, name.c_str(), 0) != 0 && errno != ENOENT) {
      const int code = errno;
      throw FileFailure{code, (path + "/").append(name)};
    }
    errno = 0;
  }
  if (errno != 0) throw FileFailure{errno, path};
  return {};
}

/// Empties the entry `name` of the folder and removes it, going down and up again with one
/// descriptor: upwards by "..", which must be the folder it came from.
void removeFolder(int parent, const std::string& topName, const std::string& topPath) {
  struct Level {
    std::string name;
    Identity identity;
  };
  FileDescriptor current = openOwnFolder(parent, topName, topPath);
  std::vector<Level> levels{{topName, identity(current.get(), topPath)}};
  std::string path = topPath;
  int refills = 0;

  while (!levels.empty()) {
    if (std::string child = removeFilesUpToFolder(current.get(), path); !child.empty()) {
      path += "/" + child;
      current = openOwnFolder(current.get(), child, path);
      levels.push_back({std::move(child), identity(current.get(), path)});
      continue;
    }
    const std::string name = levels.back().name;
    FileDescriptor above;
    if (levels.size() > 1) {
      above = FileDescriptor(::openat(current.get(), "..", kOpenFolder));
      if (!above) throw FileFailure{errno, path};
      if (identity(above.get(), path) != levels[levels.size() - 2].identity) {
        throw FileFailure{ESTALE, path, translated("moved while it was being removed")};
      }
    }
    const int holder = above ? above.get() : parent;
    if (::unlinkat(holder, name.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT) {
      if ((errno == ENOTEMPTY || errno == EEXIST) && ++refills < kMaxRefills) continue;
      throw FileFailure{errno, path};
    }
    levels.pop_back();
    if (!levels.empty()) path.resize(path.size() - name.size() - 1);
    current = std::move(above);
  }
}

/// Renames where nothing has the new name. File systems that cannot do both in one step get a link
/// under the new name, which cannot replace anything either, or at the last a look first.
int renameWithoutReplacing(int folder, const std::string& from, const std::string& to) {
  if (::renameat2(folder, from.c_str(), folder, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  if (::linkat(folder, from.c_str(), folder, to.c_str(), 0) == 0) {
    (void)::unlinkat(folder, from.c_str(), 0);
    return 0;
  }
  if (errno == EEXIST) return EEXIST;
  struct stat status = {};
  if (::fstatat(folder, to.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
  return ::renameat(folder, from.c_str(), folder, to.c_str()) == 0 ? 0 : errno;
}

/// The removals of folders that were renamed aside, as far as they are going on.
struct Removals {
  std::mutex mutex;
  std::condition_variable noneIsLeft;
  int count = 0;
};

Removals& removals() {
  static auto* const all = new Removals;  // threads may outlive what is static
  return *all;
}

class Removal {
 public:
  Removal() {
    const std::lock_guard lock(removals().mutex);
    ++removals().count;
  }
  ~Removal() {
    const std::lock_guard lock(removals().mutex);
    if (--removals().count == 0) removals().noneIsLeft.notify_all();
  }
  Removal(const Removal&) = delete;
  Removal& operator=(const Removal&) = delete;
};

}  // namespace

NSError FileFailure::error() const {
  NSError error = NSError::withErrno(code, path);
  if (!text.empty()) error.localizedDescription = path + ": " + text;
  return error;
}

FileDescriptor openPrivateFolder(int folder, const std::string& name, const std::string& path) {
  FileDescriptor opened = openOwnFolder(folder, name, path);
  if (::fchmod(opened.get(), S_IRWXU) != 0) throw FileFailure{errno, path};
  return opened;
}

void makePrivate(int file, const std::string& path) {
  constexpr mode_t kPrivate = S_IRUSR | S_IWUSR;
  struct stat status = {};
  if (::fstat(file, &status) != 0) throw FileFailure{errno, path};
  // Looking costs less than a change of the inode.
  if ((status.st_mode & 07777) != kPrivate && ::fchmod(file, kPrivate) != 0) {
    throw FileFailure{errno, path};
  }
}

void removeEntry(int folder, const std::string& name, const std::string& path) {
  struct stat status = {};
  if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    throw FileFailure{errno, path};
  }
  if (S_ISDIR(status.st_mode)) {
    removeFolder(folder, name, path);
  } else if (::unlinkat(folder, name.c_str(), 0) != 0) {
    throw FileFailure{errno, path};
  }
}

HeldFolder::HeldFolder(int folder, const std::string& name)
    : descriptor_(::openat(folder, name.c_str(), kOpenFolder)) {
  if (descriptor_) (void)::flock(descriptor_.get(), LOCK_EX | LOCK_NB);
}

void awaitRemovals(std::chrono::milliseconds limit) {
  std::unique_lock lock(removals().mutex);
  (void)removals().noneIsLeft.wait_for(lock, limit, [] { return removals().count == 0; });
}

void removeEntryAtOnce(const FilePlace& place) {
  const Removal isGoingOn;
  const int folder = place.folder.get();
  struct stat status = {};
  const HeldFolder held(folder, place.name);
  const std::string aside = unfinishedName();
  // Some file systems and some folders, those on which another one is mounted, do not let go.
  if (::fstatat(folder, place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 ||
      !S_ISDIR(status.st_mode) ||
      ::renameat2(folder, place.name.c_str(), folder, aside.c_str(), RENAME_NOREPLACE) != 0) {
    removeEntry(folder, place.name, place.path);
    return;
  }
  try {
    removeEntry(folder, aside, place.path);
  } catch (...) {
    (void)renameWithoutReplacing(folder, aside, place.name);
    throw;
  }
}

void removeAbandonedFolders(const std::string& folder) {
  const FileDescriptor opened(::open(folder.c_str(), kOpenFolder));
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; opened && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename();
    if (error || !isUnfinishedName(name)) continue;
    const FileDescriptor abandoned(::openat(opened.get(), name.c_str(), kOpenFolder));
    if (!abandoned || ::flock(abandoned.get(), LOCK_EX | LOCK_NB) != 0) continue;
    try {
      removeEntry(opened.get(), name, entry->path());
    } catch (const FileFailure&) {  // NOLINT(bugprone-empty-catch): the next share tries again
    }
  }
}

UnfinishedEntry::UnfinishedEntry(const FilePlace& place, Kind kind)
    : place_(place), name_(unfinishedName()) {
  const int folder = place.folder.get();
  if (kind == Kind::folder) {
    if (::mkdirat(folder, name_.c_str(), S_IRWXU) != 0) throw FileFailure{errno, place.path};
  } else {
    descriptor_ = FileDescriptor(::openat(folder, name_.c_str(),
                                          O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                          S_IRUSR | S_IWUSR));
    if (!descriptor_) throw FileFailure{errno, place.path};
  }
  try {
    if (kind == Kind::folder) {
      descriptor_ = openPrivateFolder(folder, name_, place.path);
    } else {
      makePrivate(descriptor_.get(), place.path);
    }
  } catch (...) {
    remove();
    throw;
  }
}

UnfinishedEntry::~UnfinishedEntry() {
  if (!published_) remove();
}

void UnfinishedEntry::remove() noexcept {
  try {
    removeEntry(place_.folder.get(), name_, place_.path);
  } catch (...) {  // NOLINT(bugprone-empty-catch): nothing more can be done about it
  }
}

void UnfinishedEntry::publish(Existing existing) {
  const int folder = place_.folder.get();
  const int code =
      existing == Existing::refused
          ? renameWithoutReplacing(folder, name_, place_.name)
          : (::renameat(folder, name_.c_str(), folder, place_.name.c_str()) == 0 ? 0 : errno);
  if (code != 0) throw FileFailure{code, place_.path};
  published_ = true;
}

}  // namespace korvane
