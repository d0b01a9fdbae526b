#include "compose/FolderZip.h"

#include <archive.h>
#include <archive_entry.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <set>
#include <vector>

#include "compose/MailText.h"
#include "linux/detail/FileDescriptor.h"
#include "linux/detail/FileTree.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

constexpr std::size_t kMaxDepth = 200;
constexpr std::size_t kMaxNamed = 20;
constexpr std::size_t kBufferSize = std::size_t{256} << 10;

struct ArchiveFree {
  void operator()(archive* written) const { archive_write_free(written); }
  void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};

class Zip {
 public:
  Zip(int target, const std::string& name, LeftOutList& leftOut)
      : name_(name), leftOut_(leftOut), buffer_(kBufferSize), archive_(archive_write_new()) {
    check(archive_write_set_format_zip(archive_.get()));
    // Level 1 is several times as fast as the usual one and hardly makes larger files.
    check(
        archive_write_set_options(archive_.get(), "zip:hdrcharset=UTF-8,zip:compression-level=1"));
    check(archive_write_open_fd(archive_.get(), target));
  }

  void addFolder(int folder, const std::string& path, std::size_t depth) {
    struct stat status = {};
    if (::fstat(folder, &status) != 0) return leaveOut(path, std::strerror(errno));
    const auto names = namesIn(folder, path);
    writeHeader(path + "/", status, AE_IFDIR);
    std::set<std::string> used;
    for (const std::string& name : names) {
      addEntry(folder, name, path + "/" + freeName(mailFileName(name), used), depth);
    }
  }

  void finish() {
    check(archive_write_close(archive_.get()));
    if (unnamed_ > 0) {
      leftOut_.push_back({name_, translatedCount("lacks {0} more for such a reason",
                                                 "lacks {0} more for such reasons", unnamed_)});
    }
  }

 private:
  void check(int result) const {
    if (result == ARCHIVE_OK || result == ARCHIVE_WARN) return;
    const int code = archive_errno(archive_.get());
    throw FileFailure{code > 0 ? code : EIO, name_};
  }

  void leaveOut(const std::string& path, const std::string& reason) {
    if (named_ == kMaxNamed) {
      ++unnamed_;
      return;
    }
    ++named_;
    leftOut_.push_back({path, translated("is not attached: {0}", reason)});
  }

  static std::string freeName(const std::string& name, std::set<std::string>& used) {
    std::string candidate = name;
    for (int counter = 1; !used.insert(candidate).second; ++counter) {
      candidate = name + "_" + std::to_string(counter);
    }
    return candidate;
  }

  /// Sorted, so that the same folder always gives the same file.
  std::vector<std::string> namesIn(int folder, const std::string& path) {
    std::vector<std::string> names;
    FileDescriptor again(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(again ? ::fdopendir(again.get()) : nullptr,
                                                     &::closedir);
    if (!stream) {
      leaveOut(path, std::strerror(errno));
      return names;
    }
    again.release();
    while (const dirent* entry = ::readdir(stream.get())) {
      const std::string name = entry->d_name;
      if (name != "." && name != "..") names.push_back(name);
    }
    std::ranges::sort(names);
    return names;
  }

  void addEntry(int folder, const std::string& name, const std::string& path, std::size_t depth) {
    const FileDescriptor found(::openat(folder, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status = {};
    if (!found || ::fstat(found.get(), &status) != 0) return leaveOut(path, std::strerror(errno));
    if (S_ISLNK(status.st_mode)) return leaveOut(path, translated("it is a link"));
    if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
      return leaveOut(path, translated("it is neither a file nor a folder"));
    }
    if (S_ISDIR(status.st_mode) && depth == kMaxDepth) {
      return leaveOut(path, translated("it lies too deep inside folders"));
    }
    const std::string self = "/proc/self/fd/" + std::to_string(found.get());
    const FileDescriptor opened(::open(self.c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC));
    if (!opened) return leaveOut(path, std::strerror(errno));
    if (S_ISDIR(status.st_mode)) {
      addFolder(opened.get(), path, depth + 1);
    } else {
      addFile(opened.get(), path, status);
    }
  }

  void addFile(int file, const std::string& path, const struct stat& status) {
    writeHeader(path, status, AE_IFREG);
    off_t left = status.st_size;
    while (left > 0) {
      const std::size_t wanted = std::min(kBufferSize, static_cast<std::size_t>(left));
      const ssize_t got = ::read(file, buffer_.data(), wanted);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) {
        leaveOut(path, got < 0 ? std::strerror(errno) : translated("it became shorter meanwhile"));
        break;
      }
      if (archive_write_data(archive_.get(), buffer_.data(), static_cast<std::size_t>(got)) < 0) {
        check(ARCHIVE_FATAL);
      }
      left -= got;
    }
    check(archive_write_finish_entry(archive_.get()));
  }

  void writeHeader(const std::string& path, const struct stat& status, unsigned type) {
    const std::unique_ptr<archive_entry, ArchiveFree> entry(archive_entry_new());
    archive_entry_set_pathname_utf8(entry.get(), path.c_str());
    archive_entry_set_filetype(entry.get(), type);
    archive_entry_set_perm(entry.get(), type == AE_IFDIR ? 0755 : 0644);
    archive_entry_set_mtime(entry.get(), status.st_mtim.tv_sec, 0);
    archive_entry_set_size(entry.get(), type == AE_IFDIR ? 0 : status.st_size);
    check(archive_write_header(archive_.get(), entry.get()));
  }

  const std::string& name_;
  LeftOutList& leftOut_;
  std::vector<char> buffer_;
  std::unique_ptr<archive, ArchiveFree> archive_;
  std::size_t named_ = 0;
  std::size_t unnamed_ = 0;
};

}  // namespace

void zipFolder(int folder, const std::string& name, int target, LeftOutList& leftOut) {
  Zip zip(target, name, leftOut);
  zip.addFolder(folder, name, 0);
  zip.finish();
}

}  // namespace korvane
