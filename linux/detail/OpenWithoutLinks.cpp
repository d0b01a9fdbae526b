#include "linux/detail/OpenWithoutLinks.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace korvane {

FileDescriptor openWithoutLinks(int folder, const std::string& path, std::uint64_t flags,
                                PathReach reach) {
  open_how how = {};
  how.flags = flags | O_CLOEXEC;
  how.resolve = RESOLVE_NO_SYMLINKS;  // those of /proc neither
  if (reach == PathReach::beneath) how.resolve |= RESOLVE_BENEATH;
  return FileDescriptor(
      static_cast<int>(::syscall(SYS_openat2, folder, path.c_str(), &how, sizeof how)));
}

}  // namespace korvane
