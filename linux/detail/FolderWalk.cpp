#include "linux/detail/FolderWalk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <memory>
#include <utility>
#include <vector>

#include "linux/detail/FileDescriptor.h"

namespace korvane {
namespace {

constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
// Down to this depth every folder stays open; below, the way up is "..".
constexpr std::size_t kOpenLevels = 32;

struct Level {
  dev_t device;
  ino_t inode;
  std::vector<std::string> folders;  // those that were not gone into
  FileDescriptor above;              // where it stays open
};

bool isAt(int folder, const Level& level) {
  struct stat status = {};
  return ::fstat(folder, &status) == 0 && status.st_dev == level.device &&
         status.st_ino == level.inode;
}

bool isFolder(int place, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
  struct stat status = {};
  return ::fstatat(place, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISDIR(status.st_mode);
}

}  // namespace

bool walkFolder(int folder,
                const std::function<FolderWalk(int place, const std::string& name)>& visit) {
  std::vector<Level> levels;
  FileDescriptor current;
  // Goes into a folder and looks at what lies in it; stays where it is when that cannot be read.
  const auto enter = [&](FileDescriptor next) {
    struct stat status = {};
    FileDescriptor again(::openat(next.get(), ".", kOpenFolder));
    if (!again || ::fstat(again.get(), &status) != 0) return false;
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::fdopendir(again.get()), &::closedir);
    if (!entries) return false;
    again.release();
    levels.push_back({status.st_dev, status.st_ino, {}, {}});
    std::swap(current, next);
    if (levels.size() <= kOpenLevels) levels.back().above = std::move(next);
    while (const dirent* entry = ::readdir(entries.get())) {
      std::string name = entry->d_name;
      if (name == "." || name == "..") continue;
      const FolderWalk wish = visit(current.get(), name);
      if (wish == FolderWalk::stop) return true;
      if (wish == FolderWalk::goOn && isFolder(current.get(), *entry)) {
        levels.back().folders.push_back(std::move(name));
      }
    }
    return false;
  };

  if (enter(FileDescriptor(::openat(folder, ".", kOpenFolder)))) return true;
  while (!levels.empty()) {
    if (std::vector<std::string>& folders = levels.back().folders; !folders.empty()) {
      const std::string name = std::move(folders.back());
      folders.pop_back();
      FileDescriptor next(::openat(current.get(), name.c_str(), kOpenFolder));
      if (next && enter(std::move(next))) return true;
      continue;
    }
    FileDescriptor above = std::move(levels.back().above);
    levels.pop_back();
    if (levels.empty()) break;
    if (!above) above = FileDescriptor(::openat(current.get(), "..", kOpenFolder));
    if (!above || !isAt(above.get(), levels.back())) break;
    current = std::move(above);
  }
  return false;
}

}  // namespace korvane
