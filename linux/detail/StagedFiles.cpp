#include "linux/detail/StagedFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "linux/detail/FileDescriptor.h"
#include "linux/detail/FolderWalk.h"
#include "linux/detail/UnfinishedNames.h"

namespace korvane {
namespace {

bool isAfter(const timespec& a, const timespec& b) {
  return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec > b.tv_nsec;
}

bool isUnread(int folder, const std::string& name) {
  struct stat status = {};
  return ::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISREG(status.st_mode) && status.st_size > 0 && !isAfter(status.st_atim, status.st_ctim);
}

}  // namespace

bool holdsUnreadFiles(const std::string& folder) {
  const FileDescriptor opened(
      ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  return opened && walkFolder(opened.get(), [](int place, const std::string& name) {
           if (isUnfinishedName(name)) return FolderWalk::goOnOutside;
           return isUnread(place, name) ? FolderWalk::stop : FolderWalk::goOn;
         });
}

bool keepsAccessTimes(const std::string& folder) {
  const std::string path = folder + "/" + unfinishedName();
  const FileDescriptor file(
      ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!file) return true;
  ::unlink(path.c_str());
  // Read for the last time long ago, so that reading it now is worth noting.
  const timespec longAgo[2] = {{1, 0}, {0, UTIME_OMIT}};
  char byte = 'x';
  struct stat status = {};
  if (::write(file.get(), &byte, 1) != 1 || ::futimens(file.get(), longAgo) != 0 ||
      ::pread(file.get(), &byte, 1, 0) != 1 || ::fstat(file.get(), &status) != 0) {
    return true;
  }
  return status.st_atim.tv_sec != longAgo[0].tv_sec;
}

}  // namespace korvane
