#include "host/InputData.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unicode/unistr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "formats/Signatures.h"
#include "host/InputError.h"
#include "host/ShareRequest.h"
#include "linux/detail/FileDescriptor.h"
#include "platform/NSImage.h"
#include "platform/detail/Translation.h"
#include "text/UTF8.h"
#include "text/Windows1252.h"

namespace korvane {
namespace {

std::string_view bytesOf(const NSData& data) {
  return {reinterpret_cast<const char*>(data.data()), data.size()};
}

[[noreturn]] void refuse(const std::string& what) { throw InputError(what); }

[[noreturn]] void refuseErrno() { refuse(std::generic_category().message(errno)); }

NSData readToEnd(int descriptor) {
  struct stat status {};
  NSData data;
  std::size_t expected = std::size_t{1} << 16;
  if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
    if (static_cast<std::size_t>(status.st_size) > kMaxInput)
      refuse(translated("larger than 256 MiB"));
    expected = static_cast<std::size_t>(status.st_size) + 1;  // so that the end is seen at once
  }
  for (;;) {
    const std::size_t used = data.size();
    data.resize(used + expected);
    const ssize_t count = read(descriptor, data.data() + used, expected);
    if (count < 0 && errno != EINTR) refuseErrno();
    data.resize(used + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (count == 0) return data;
    if (data.size() > kMaxInput) refuse(translated("larger than 256 MiB"));
    expected = std::max(std::size_t{1} << 16, data.size() / 2);
  }
}

}  // namespace

NSData readInput(const std::string& path) {
  if (path == "-") return readToEnd(STDIN_FILENO);
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  if (!file) refuseErrno();
  return readToEnd(file.get());
}

NSData readRegularFile(const std::string& path) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (!file) refuseErrno();
  struct stat status {};
  if (fstat(file.get(), &status) != 0) refuseErrno();
  if (!S_ISREG(status.st_mode)) refuse(translated("not a regular file"));
  return readToEnd(file.get());
}

DataKind kindOfData(const NSData& data) {
  if (isPicture(formatBySignature(bytesOf(data)))) return DataKind::image;
  const std::optional<std::string> text = decodeText(data);
  if (!text) {
    return ImageCodec::installed()->decode(data) ? DataKind::image : DataKind::unknown;
  }
  const DataFormat format = formatByFirstTag(*text);
  if (isPicture(format)) return DataKind::image;
  return format == DataFormat::html ? DataKind::html : DataKind::text;
}

std::optional<std::string> decodeText(std::string_view bytes) {
  using namespace std::string_view_literals;
  std::string text;
  const char* encoding = nullptr;
  if (bytes.starts_with("\xFF\xFE\0\0"sv) || bytes.starts_with("\0\0\xFE\xFF"sv)) {
    encoding = "UTF-32";
  } else if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) {
    encoding = "UTF-16";
  }
  if (encoding) {
    icu::UnicodeString(bytes.data(), static_cast<std::int32_t>(bytes.size()), encoding)
        .toUTF8String(text);
  } else if (!isValidUTF8(bytes)) {
    text = textOfWindows1252(bytes);
  } else {
    if (bytes.starts_with(kByteOrderMark)) bytes.remove_prefix(kByteOrderMark.size());
    text = bytes;
  }
  if (text.find('\0') != std::string::npos) return std::nullopt;
  return text;
}

std::optional<std::string> decodeText(const NSData& data) { return decodeText(bytesOf(data)); }

}  // namespace korvane
