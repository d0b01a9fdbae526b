#include "linux/detail/ShareTurn.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <map>
#include <string_view>
#include <utility>

#include "linux/detail/FileTree.h"
#include "linux/detail/StagedFiles.h"
#include "platform/Clock.h"
#include "platform/NSFileManager.h"
#include "platform/NSString.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

/// How long one waits between two looks, in seconds.
constexpr double kPause = 0.02;
/// A file system notes times in steps of up to 10 ms. What is read in the very step in which it was
/// written would seem unread for ever.
constexpr double kTimeStep = 0.012;
/// What a lock file holds at most; one line of some fifty bytes for each edition of the client.
constexpr std::size_t kMaxNotes = 4096;

constexpr const char* kNotTaken =
    translatable("the mail client has not taken the files of the message before this one yet");

/// Hand-overs: the staging folder, relative to the container, and the time in seconds since 1970.
using Notes = std::map<std::string, double>;

bool isRecent(double time, double now, double kept) {
  // A clock that was set back in between must not keep the folder for longer.
  return std::abs(now - time) < kept;
}

/// Lines of "TIME FOLDER". What is not one is ignored; the last time of a folder counts. Absent,
/// with errno set, where the file cannot be read.
std::optional<Notes> readNotes(int file) {
  std::string text(kMaxNotes, '\0');
  const ssize_t size = ::pread(file, text.data(), text.size(), 0);
  if (size < 0) return std::nullopt;
  text.resize(static_cast<std::size_t>(size));
  Notes notes;
  for (std::string_view rest = text; rest.find('\n') != std::string_view::npos;) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(line.size() + 1);
    double time = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), time);
    const auto length = static_cast<std::size_t>(end - line.data());
    if (error != std::errc() || length + 1 >= line.size() || line[length] != ' ') continue;
    double& noted = notes[std::string(line.substr(length + 1))];
    noted = std::max(noted, time);
  }
  return notes;
}

int writeNotes(int file, const Notes& notes) {
  std::string text;
  for (const auto& [folder, time] : notes) {
    char digits[32];
    const auto end =
        std::to_chars(digits, digits + sizeof digits, time, std::chars_format::fixed, 3);
    text.append(digits, end.ptr).append(" ").append(folder).append("\n");
  }
  for (std::size_t written = 0; written < text.size();) {
    const ssize_t count =
        ::pwrite(file, text.data() + written, text.size() - written, static_cast<off_t>(written));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    written += static_cast<std::size_t>(count);
  }
  return ::ftruncate(file, static_cast<off_t>(text.size())) == 0 ? 0 : errno;
}

std::string systemText(int code) { return NSError::withErrno(code).localizedDescription; }

/// `why` has a place for the path and may have one for the system's text of the errno value.
std::string unusable(const std::string& path, const char* why, int code = 0) {
  return translated(why, path, systemText(code));
}

/// Whether the lock file is the one that is open; absent, with errno set, where that cannot be
/// told.
std::optional<bool> isStillAt(const std::string& path, int file) {
  struct stat byPath = {};
  struct stat byFile = {};
  if (::fstat(file, &byFile) != 0) return std::nullopt;
  if (::lstat(path.c_str(), &byPath) != 0) {
    return errno == ENOENT ? std::optional(false) : std::nullopt;
  }
  return byPath.st_dev == byFile.st_dev && byPath.st_ino == byFile.st_ino;
}

/// Opens the lock file, or gives the reason why that cannot be.
FileDescriptor openLockFile(const std::string& path, std::optional<std::string>& refusal) {
  if (const std::size_t slash = path.rfind('/'); slash > 0 && slash != std::string::npos) {
    std::optional<NSError> ignored;  // opening tells, too
    NSFileManager::defaultManager()->createDirectoryAtURL(
        NSURL::fileURLWithPath(path.substr(0, slash)), true, ignored);
  }
  FileDescriptor file(::open(path.c_str(),
                             O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY,
                             S_IRUSR | S_IWUSR));
  struct stat status = {};
  const int code = file ? 0 : errno;
  if (code == ELOOP) {
    refusal = unusable(
        path,
        translatable(
            "the lock file of shares, {0}, is a symbolic link, and only a regular file will do"));
  } else if (code == EISDIR ||
             (file && ::fstat(file.get(), &status) == 0 && !S_ISREG(status.st_mode))) {
    refusal = unusable(
        path,
        translatable("the lock file of shares, {0}, is not a regular file, and only one will do"));
  } else if (code != 0) {
    refusal =
        unusable(path, translatable("the lock file of shares, {0}, cannot be opened: {1}"), code);
  }
  if (refusal) return {};
  // The process's mask may have taken from a new file what the next one to open it needs.
  if ((status.st_mode & 0777) != 0600) (void)::fchmod(file.get(), S_IRUSR | S_IWUSR);
  return file;
}

}  // namespace

ShareTurn::ShareTurn(const std::optional<std::string>& container, const std::string& folder,
                     const std::function<void(const std::string& line)>& tell,
                     const std::function<std::optional<std::string>()>& stop)
    : path_(container.value_or("") + ".share"), folder_(folder) {
  if (!container || !isUTF8(*container)) return;
  name_ = folder.starts_with(*container + "/") ? folder.substr(container->size() + 1) : folder;
  begin(tell, stop);
  if (refusal_) {
    file_ = FileDescriptor();
    return;
  }
  if (!file_) return;
  // Whatever lies there now was not handed over, or was taken.
  forgetHandOver();
  // The note of the hand-over has its place before the files of this share fill the disk. Not every
  // file system can, and then the note may find none.
  (void)::fallocate(file_.get(), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(kMaxNotes));
  removeAbandonedFolders(folder_.substr(0, folder_.rfind('/')));
  removeAbandonedFolders(path_.substr(0, path_.rfind('/') + 1));
}

ShareTurn::~ShareTurn() {
  if (file_) ::flock(file_.get(), LOCK_UN);  // a process that was forked may hold the file open
}

void ShareTurn::begin(const std::function<void(const std::string& line)>& tell,
                      const std::function<std::optional<std::string>()>& stop) {
  bool isLocked = false;
  bool isTold = false;
  for (double waited = 0;; waited += kPause) {
    if (stop) refusal_ = stop();
    if (refusal_) return;
    if (!file_) {
      file_ = openLockFile(path_, refusal_);
      if (refusal_) return;
    }
    if (!isLocked) {
      isLocked = ::flock(file_.get(), LOCK_EX | LOCK_NB) == 0;
      if (!isLocked && errno != EWOULDBLOCK && errno != EINTR) {
        refusal_ = unusable(
            path_, translatable("the lock file of shares, {0}, cannot be locked: {1}"), errno);
        return;
      }
      const auto isSame = isLocked ? isStillAt(path_, file_.get()) : std::optional(true);
      if (!isSame) {
        refusal_ = unusable(
            path_, translatable("the lock file of shares, {0}, cannot be looked at: {1}"), errno);
        return;
      }
      if (!*isSame) {
        file_ = FileDescriptor();  // somebody removed it; a lock on it excludes nobody
        isLocked = false;
      }
    }
    if (isLocked && (mayEmpty() || refusal_)) return;
    if (waited >= kLongestWait) {
      refusal_ = translated(kNotTaken);
      return;
    }
    if (tell && !isTold && waited >= kSilentWait) {
      isTold = true;
      tell(translated(
          "waiting until the mail client has taken the files of the message before this one"));
    }
    sleepForTimeInterval(kPause);
  }
}

bool ShareTurn::mayEmpty() {
  const auto notes = readNotes(file_.get());
  if (!notes) {
    refusal_ =
        unusable(path_, translatable("the lock file of shares, {0}, cannot be read: {1}"), errno);
    return false;
  }
  const auto noted = notes->find(name_);
  const double now = NSDate::date().timeIntervalSince1970;
  if (noted == notes->end() || !isRecent(noted->second, now, kKept)) return true;
  if (!holdsUnreadFiles(folder_)) return true;
  if (isRecent(noted->second, now, kKeptUnseen)) return false;
  if (!isReadingNoted_) isReadingNoted_ = keepsAccessTimes(folder_);
  return !*isReadingNoted_;
}

int ShareTurn::note(const std::optional<double>& time) {
  const auto before = readNotes(file_.get());
  Notes notes = before.value_or(Notes());
  const double now = NSDate::date().timeIntervalSince1970;
  notes.erase(name_);
  std::erase_if(notes, [&](const auto& other) { return !isRecent(other.second, now, kKept); });
  if (time) notes[name_] = *time;
  return before && notes == *before ? 0 : writeNotes(file_.get(), notes);
}

std::optional<std::string> ShareTurn::noteHandOver() {
  if (!file_ || !holdsUnreadFiles(folder_)) return std::nullopt;
  sleepForTimeInterval(kTimeStep);
  if (const int code = note(NSDate::date().timeIntervalSince1970); code != 0) {
    return unusable(path_, translatable("the lock file of shares, {0}, cannot be written: {1}"),
                    code);
  }
  return std::nullopt;
}

void ShareTurn::forgetHandOver() {
  if (file_) note(std::nullopt);
}

}  // namespace korvane
