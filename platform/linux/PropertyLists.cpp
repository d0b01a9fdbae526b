#include "platform/linux/PropertyLists.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

#include "platform/linux/BinaryPropertyList.h"
#include "platform/linux/FileDescriptor.h"
#include "platform/linux/XMLPropertyList.h"

namespace korvane {
namespace {

enum class Links { follow, refuse };

struct FileContent {
  std::unique_ptr<char[]> bytes;
  std::size_t size = 0;
  std::string_view view() const { return {bytes.get(), size}; }
};

// The file is read, not mapped: a mapped file that somebody shortens ends the process.
std::optional<FileContent> readAll(int file) {
  struct stat status {};
  if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  if (static_cast<std::uintmax_t>(status.st_size) > kLargestPropertyList) return std::nullopt;
  FileContent content;
  const auto expected = static_cast<std::size_t>(status.st_size);
  content.bytes.reset(new (std::nothrow) char[expected + 1]);
  if (!content.bytes) return std::nullopt;
  while (content.size < expected) {
    const ssize_t got = ::read(file, content.bytes.get() + content.size, expected - content.size);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) break;
    content.size += static_cast<std::size_t>(got);
  }
  return content;
}

// O_NONBLOCK: opening a named pipe must not wait for somebody to write to it.
std::optional<FileContent> readFile(const std::string& path, Links links) {
  if (path.empty() || path.find('\0') != std::string::npos) return std::nullopt;
  const int flags =
      O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | (links == Links::refuse ? O_NOFOLLOW : 0);
  const FileDescriptor file(::open(path.c_str(), flags));
  if (!file) return std::nullopt;
  return readAll(file.get());
}

std::optional<Value> readPropertyListFile(const std::string& path, Links links) {
  const auto content = readFile(path, links);
  if (!content) return std::nullopt;
  return propertyListFromBytes(content->view());
}

}  // namespace

std::optional<Value> propertyListFromBytes(std::string_view bytes) {
  try {
    return isBinaryPropertyList(bytes) ? readBinaryPropertyList(bytes) : readXMLPropertyList(bytes);
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

std::optional<Value> readPropertyList(const std::string& path) {
  return readPropertyListFile(path, Links::follow);
}

std::optional<List> LinuxPropertyLists::arrayWithContentsOfURL(const NSURL& url) {
  if (!url.isFileURL()) return std::nullopt;
  auto value = readPropertyListFile(url.fileSystemRepresentation(), Links::refuse);
  if (!value || !value->isList()) return std::nullopt;
  return std::move(*value).takeList();
}

}  // namespace korvane
