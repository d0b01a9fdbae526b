#include "linux/detail/FileCopy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "platform/Clock.h"
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
constexpr off_t kMaxUnannounced = off_t{64} << 20;
// How often a file that was changed meanwhile is copied again.
constexpr int kMaxRepeats = 3;
// The time of a change is noted in steps of up to 10 ms, and as a write begins. So a file that was
// written to a moment ago may be in the middle of it, and the time would not tell afterwards.
constexpr double kSettlingTime = 0.02;

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
    if (copyThroughBuffer(from, target, 0, kMaxUnannounced, path) >= kMaxUnannounced) {
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

/// Whether a file was written to a moment ago. A time to come is that of another clock.
bool isUnsettled(const struct stat& status) {
  const double changed = static_cast<double>(status.st_mtim.tv_sec) +
                         static_cast<double>(status.st_mtim.tv_nsec) / 1e9;
  const double age = NSDate::date().timeIntervalSince1970 - changed;
  return age >= 0 && age < kSettlingTime;
}

}  // namespace

void copyContent(OpenedItem& source, int target, const std::string& path) {
  for (int repeats = 0;; ++repeats) {
    // Longer from time to time, for somebody who is about to be done.
    if (isUnsettled(source.status)) sleepForTimeInterval(kSettlingTime * (1 << repeats));
    struct stat now = {};
    if (::fstat(source.descriptor.get(), &now) != 0) throw FileFailure{errno, path};
    if (isSameVersion(source.status, now) || !isUnsettled(now)) {
      source.status = now;
      copyOnce(source, target, path);
      if (::fstat(source.descriptor.get(), &now) != 0) throw FileFailure{errno, path};
      if (isSameVersion(source.status, now)) return;
      if (::ftruncate(target, 0) != 0) throw FileFailure{errno, path};
    }
    if (repeats == kMaxRepeats) {
      throw FileFailure{EBUSY, path,
                        translated("is being changed over and over while it is copied")};
    }
    source.status = now;
  }
}

}  // namespace korvane
