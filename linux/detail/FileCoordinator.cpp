#include "linux/detail/FileCoordinator.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "linux/detail/FileDescriptor.h"
#include "linux/detail/FileTree.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

// How often the lock file may be exchanged while it is being locked.
constexpr int kMaxReplacements = 100;

/// What an access locks, as names: those of the protocol.
struct LockNames {
  std::vector<std::string> shared;     // the folders that hold the item, from the top down
  std::vector<std::string> exclusive;  // the item
};

LockNames lockNames(const ContainerRoot& container, const std::string& itemPath) {
  const std::string item = normalisedPath(itemPath);
  const std::optional<std::string> relative = container.relativePath(item);
  const std::string& name = relative ? *relative : item;
  LockNames names;
  if (!name.empty() && name != "/") {
    names.shared.emplace_back(relative ? "" : "/");
    for (std::size_t slash = name.find('/', 1); slash != std::string::npos;
         slash = name.find('/', slash + 1)) {
      names.shared.push_back(name.substr(0, slash));
    }
  }
  names.exclusive.push_back(name);
  // A folder that holds the container holds all that is in it.
  const std::string folder = item == "/" ? item : item + "/";
  if (!relative && container.path()->starts_with(folder)) names.exclusive.emplace_back();
  return names;
}

bool overlap(const std::vector<std::string>& a, const std::vector<std::string>& b) {
  return std::ranges::any_of(
      a, [&](const std::string& name) { return std::ranges::find(b, name) != b.end(); });
}

bool conflict(const LockNames& a, const LockNames& b) {
  return overlap(a.exclusive, b.exclusive) || overlap(a.exclusive, b.shared) ||
         overlap(a.shared, b.exclusive);
}

/// FNV-1a, 64 bits, without the sign bit.
off_t lockByte(const std::string& name) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char byte : name) {
    hash ^= static_cast<unsigned char>(byte);
    hash *= 0x100000001b3;
  }
  return static_cast<off_t>(hash & 0x7fffffffffffffff);
}

FileFailure lockedTooLong(const std::string& item) {
  return {ETIMEDOUT, item.empty() ? translated("the container") : item,
          translated("another program keeps it locked")};
}

using SteadyClock = std::chrono::steady_clock;

/// Sets the lock; gives an errno value, 0 for success.
int setLock(int file, int command, struct flock lock) {
  while (::fcntl(file, command, &lock) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

/// Waits for a lock. The kernel's own wait has no end but keeps one's place among those who wait,
/// which looking again and again does not; so it is a thread of its own that waits there. One that
/// is given up ends when the lock comes, which then belongs to nobody any more: the file is closed.
int waitForLock(const std::shared_ptr<FileDescriptor>& file, const struct flock& lock,
                SteadyClock::time_point deadline) {
  struct Answer {
    std::mutex mutex;
    std::condition_variable came;
    std::optional<int> code;
  };
  const auto answer = std::make_shared<Answer>();
  try {
    std::thread([file, lock, answer] {
      const int code = setLock(file->get(), F_OFD_SETLKW, lock);
      const std::lock_guard guard(answer->mutex);
      answer->code = code;
      answer->came.notify_all();
    }).detach();
  } catch (const std::system_error&) {
    return EAGAIN;
  }
  std::unique_lock guard(answer->mutex);
  if (answer->came.wait_until(guard, deadline, [&] { return answer->code.has_value(); })) {
    return *answer->code;
  }
  struct flock all = {};
  all.l_type = F_UNLCK;
  all.l_whence = SEEK_SET;
  (void)setLock(file->get(), F_OFD_SETLK, all);  // what was locked before
  return ETIMEDOUT;
}

void lockOneByte(const std::shared_ptr<FileDescriptor>& file, const std::string& name, short type,
                 const std::string& path, SteadyClock::time_point deadline) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = lockByte(name);
  lock.l_len = 1;
  int code = setLock(file->get(), F_OFD_SETLK, lock);
  if (code == EAGAIN || code == EACCES) code = waitForLock(file, lock, deadline);
  if (code == ETIMEDOUT) throw lockedTooLong(name);
  if (code != 0) throw FileFailure{code, path};
}

void createFolders(const std::string& path) {
  for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
    const std::string folder = path.substr(0, end);
    if (::mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST) throw FileFailure{errno, folder};
    if (end == std::string::npos) return;
  }
}

FileDescriptor openLockFile(const std::string& path) {
  constexpr int kFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  FileDescriptor file(::open(path.c_str(), kFlags));
  if (!file && errno == ENOENT) {
    if (const std::size_t slash = path.rfind('/'); slash > 0) createFolders(path.substr(0, slash));
    file = FileDescriptor(::open(path.c_str(), kFlags | O_CREAT, S_IRUSR | S_IWUSR));
  }
  struct stat status = {};
  if (!file || ::fstat(file.get(), &status) != 0) throw FileFailure{errno, path};
  if (!S_ISREG(status.st_mode)) throw FileFailure{EINVAL, path, translated("not a lock file")};
  // The process's mask may have taken from a new file what the next one to open it needs.
  if ((status.st_mode & 0777) != 0600) (void)::fchmod(file.get(), S_IRUSR | S_IWUSR);
  return file;
}

bool isStillAt(const std::string& path, const FileDescriptor& file) {
  struct stat byPath = {};
  struct stat byFile = {};
  return ::stat(path.c_str(), &byPath) == 0 && ::fstat(file.get(), &byFile) == 0 &&
         byPath.st_dev == byFile.st_dev && byPath.st_ino == byFile.st_ino;
}

/// Waits for all the locks; they hold until the result is closed.
std::shared_ptr<FileDescriptor> lock(const std::string& path, const LockNames& names,
                                     SteadyClock::time_point deadline) {
  for (int attempt = 0; attempt < kMaxReplacements; ++attempt) {
    auto file = std::make_shared<FileDescriptor>(openLockFile(path));
    for (const std::string& name : names.shared) lockOneByte(file, name, F_RDLCK, path, deadline);
    for (const std::string& name : names.exclusive)
      lockOneByte(file, name, F_WRLCK, path, deadline);
    // Locks on a file that is no longer the lock file exclude nobody.
    if (isStillAt(path, *file)) return file;
  }
  throw FileFailure{EAGAIN, path, translated("the lock file is being replaced over and over")};
}

/// The accesses that the calling thread is inside of.
struct Held {
  const std::string* lockFile;
  const LockNames* names;
};
thread_local std::vector<Held> heldByThread;

}  // namespace

/// The accesses of this process, in the order of their asking. They wait for one another here, so
/// that they are served in that order and what one wrote into memory is there for the next.
struct FileCoordinator::Queue {
  std::mutex mutex;
  std::condition_variable changed;
  std::list<const LockNames*> accesses;
};

/// One access, from its asking to its end.
class FileCoordinator::Access {
 public:
  Access(Queue& queue, const std::string& lockFile, const LockNames& names, double longestWait)
      : queue_(queue),
        lockFile_(lockFile),
        deadline_(SteadyClock::now() + std::chrono::duration_cast<SteadyClock::duration>(
                                           std::chrono::duration<double>(longestWait))) {
    for (const Held& held : heldByThread) {
      if (*held.lockFile == lockFile && conflict(*held.names, names)) {
        throw FileFailure{EDEADLK, names.exclusive.front()};
      }
    }
    heldByThread.reserve(heldByThread.size() + 1);
    std::unique_lock guard(queue_.mutex);
    self_ = queue_.accesses.insert(queue_.accesses.end(), &names);
    const auto isFirst = [&] {
      return std::none_of(queue_.accesses.begin(), self_,
                          [&](const LockNames* earlier) { return conflict(*earlier, names); });
    };
    if (queue_.changed.wait_until(guard, deadline_, isFirst)) return;
    queue_.accesses.erase(self_);
    queue_.changed.notify_all();  // somebody may have waited for this one
    throw lockedTooLong(names.exclusive.front());
  }
  ~Access() {
    if (file_) heldByThread.pop_back();
    file_ = nullptr;  // the kernel's locks go first, so that the next need not wait
    {
      std::lock_guard guard(queue_.mutex);
      queue_.accesses.erase(self_);
    }
    queue_.changed.notify_all();
  }
  Access(const Access&) = delete;
  Access& operator=(const Access&) = delete;

  void begin() {
    file_ = lock(lockFile_, **self_, deadline_);
    heldByThread.push_back({&lockFile_, *self_});
  }

 private:
  Queue& queue_;
  const std::string& lockFile_;
  const SteadyClock::time_point deadline_;
  std::list<const LockNames*>::iterator self_;
  std::shared_ptr<FileDescriptor> file_;
};

FileCoordinator::FileCoordinator(ContainerRoot container, double longestWait)
    : container_(std::move(container)),
      longestWait_(longestWait),
      queue_(std::make_unique<Queue>()) {}

FileCoordinator::~FileCoordinator() = default;

void FileCoordinator::coordinateWritingItemAtURL(
    const std::optional<NSURL>& url, NSFileCoordinatorWritingOptions, std::optional<NSError>& error,
    const std::function<void(const NSURL&)>& accessor) {
  if (!url || !url->isFileURL() || !container_.path()) {
    error = NSError::withErrno(EINVAL, url ? "" : translated("no URL"));
    return;
  }
  const std::string path = url->fileSystemRepresentation();
  if (!path.starts_with('/') || path.find('\0') != std::string::npos) {
    error = NSError::withErrno(EINVAL);
    return;
  }
  const std::string lockFile = *container_.path() + ".lock";
  const LockNames names = lockNames(container_, path);
  std::optional<Access> access;
  try {
    access.emplace(*queue_, lockFile, names, longestWait_);
    access->begin();
  } catch (const FileFailure& failure) {
    error = failure.error();
    return;
  }
  accessor(*url);
}

}  // namespace korvane
