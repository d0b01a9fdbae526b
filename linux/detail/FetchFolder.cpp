#include "linux/detail/FetchFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <mutex>
#include <optional>
#include <set>

#include "linux/detail/FileTree.h"
#include "linux/detail/UnfinishedNames.h"
#include "platform/NSFileManager.h"

namespace korvane {
namespace {

constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
/// How often another share may take a new folder for one that is left over.
constexpr int kMaxTries = 10;

struct Folders {
  std::mutex mutex;
  std::set<FetchFolder*> all;
};

Folders& folders() {
  static Folders& made = *new Folders;  // until the very end of the process
  return made;
}

}  // namespace

FetchFolder::FetchFolder(const std::string& parent) : parent_(parent) {
  std::optional<NSError> ignored;  // opening tells, too
  NSFileManager::defaultManager()->createDirectoryAtURL(NSURL::fileURLWithPath(parent), true,
                                                        ignored);
  holder_ = FileDescriptor(::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!holder_) throw FileFailure{errno, parent};
  for (int tries = 0; !make(); ++tries) {
    if (tries == kMaxTries) throw FileFailure{EBUSY, parent};
  }
  const std::lock_guard lock(folders().mutex);
  folders().all.insert(this);
}

FetchFolder::~FetchFolder() {
  const std::lock_guard lock(folders().mutex);
  folders().all.erase(this);
  remove();
}

bool FetchFolder::make() {
  name_ = unfinishedName();
  if (::mkdirat(holder_.get(), name_.c_str(), S_IRWXU) != 0) throw FileFailure{errno, path()};
  held_ = FileDescriptor(::openat(holder_.get(), name_.c_str(), kOpenFolder));
  // Somebody who holds it takes it for one that is left over, and removes it.
  if (!held_ || (::flock(held_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)) {
    return false;
  }
  struct stat status = {};
  return ::fstat(held_.get(), &status) == 0 && status.st_nlink > 0 &&
         ::faccessat(holder_.get(), name_.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

std::string FetchFolder::path() const { return parent_ + "/" + name_; }

void FetchFolder::remove() noexcept {
  try {
    removeEntry(holder_.get(), name_, path());
  } catch (...) {  // NOLINT(bugprone-empty-catch): a later share tries again
  }
}

void FetchFolder::removeAll() noexcept {
  const std::lock_guard lock(folders().mutex);
  for (FetchFolder* folder : folders().all) folder->remove();
}

}  // namespace korvane
