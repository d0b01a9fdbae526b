#include "linux/detail/PropertyLists.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <utility>

#include "formats/plist/PropertyListBytes.h"
#include "linux/detail/FileDescriptor.h"
#include "linux/detail/FilePlace.h"

namespace korvane {
namespace {

// The bytes of a file, in memory that goes back to the system at once when they go: the heap would
// keep as much beside everything that is made of them.
class FileContent {
 public:
  /// Room for as many bytes, which must be more than none.
  explicit FileContent(std::size_t room)
      : memory_(::mmap(nullptr, room, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0)),
        room_(room) {}
  FileContent(FileContent&& other) noexcept
      : memory_(std::exchange(other.memory_, MAP_FAILED)), room_(other.room_), size_(other.size_) {}
  FileContent& operator=(FileContent&&) = delete;
  ~FileContent() {
    if (memory_ != MAP_FAILED) ::munmap(memory_, room_);
  }

  /// Reads up to the room's size. The file is read, not mapped: a mapped file that somebody
  /// shortens ends the process.
  bool readFrom(int file) {
    if (memory_ == MAP_FAILED) return false;
    while (size_ < room_) {
      const ssize_t got = ::read(file, static_cast<char*>(memory_) + size_, room_ - size_);
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) return false;
      if (got == 0) break;
      size_ += static_cast<std::size_t>(got);
    }
    return true;
  }
  std::string_view view() const { return {static_cast<const char*>(memory_), size_}; }

 private:
  void* memory_;
  std::size_t room_;
  std::size_t size_ = 0;
};

std::optional<FileContent> readAll(int file) {
  struct stat status {};
  if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  const auto size = static_cast<std::uintmax_t>(status.st_size);
  if (size == 0 || size > kMaxPropertyList) return std::nullopt;
  FileContent content(static_cast<std::size_t>(size));
  if (!content.readFrom(file)) return std::nullopt;
  return content;
}

// Opening a named pipe must not wait for somebody to write to it.
constexpr int kReadFile = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

std::optional<Value> readOpened(const FileDescriptor& file) {
  if (!file) return std::nullopt;
  const auto content = readAll(file.get());
  if (!content) return std::nullopt;
  return propertyListFromBytes(content->view());
}

}  // namespace

std::optional<Value> readPropertyList(const std::string& path) {
  if (path.find('\0') != std::string::npos) return std::nullopt;
  return readOpened(FileDescriptor(::open(path.c_str(), kReadFile)));
}

std::optional<List> PropertyLists::arrayWithContentsOfURL(const NSURL& url) {
  if (!url.isFileURL()) return std::nullopt;
  try {
    const FilePlace place = locate(container_, url.fileSystemRepresentation());
    auto value = readOpened(
        FileDescriptor(::openat(place.folder.get(), place.name.c_str(), kReadFile | O_NOFOLLOW)));
    if (!value || !value->isList()) return std::nullopt;
    return std::move(*value).takeList();
  } catch (const FileFailure&) {
    return std::nullopt;
  }
}

}  // namespace korvane
