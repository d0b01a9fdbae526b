#include "host/InputData.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unicode/unistr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "host/InputError.h"
#include "host/ShareRequest.h"
#include "platform/NSImage.h"
#include "text/ASCII.h"
#include "text/UTF8.h"
#include "text/Windows1252.h"

namespace korvane {
namespace {

class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() {
    if (descriptor_ > STDERR_FILENO) close(descriptor_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return descriptor_; }

 private:
  int descriptor_;
};

[[noreturn]] void refuse(const std::string& what) { throw InputError(what); }

[[noreturn]] void refuseErrno() { refuse(std::generic_category().message(errno)); }

NSData readToEnd(int descriptor) {
  struct stat status {};
  NSData data;
  std::size_t expected = std::size_t{1} << 16;
  if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
    if (static_cast<std::size_t>(status.st_size) > kMaxInput) refuse("larger than 256 MiB");
    expected = static_cast<std::size_t>(status.st_size) + 1;  // so that the end is seen at once
  }
  for (;;) {
    const std::size_t used = data.size();
    data.resize(used + expected);
    const ssize_t count = read(descriptor, data.data() + used, expected);
    if (count < 0 && errno != EINTR) refuseErrno();
    data.resize(used + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (count == 0) return data;
    if (data.size() > kMaxInput) refuse("larger than 256 MiB");
    expected = std::max(std::size_t{1} << 16, data.size() / 2);
  }
}

bool beginsWith(const NSData& data, std::size_t at, std::string_view bytes) {
  return data.size() >= at + bytes.size() &&
         std::equal(bytes.begin(), bytes.end(), data.begin() + static_cast<std::ptrdiff_t>(at),
                    [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; });
}

bool hasImageSignature(const NSData& data) {
  using namespace std::string_view_literals;
  static constexpr std::array kSignatures{"\x89PNG\r\n\x1a\n"sv,
                                          "\xFF\xD8\xFF"sv,
                                          "GIF87a"sv,
                                          "GIF89a"sv,
                                          "II*\0"sv,
                                          "MM\0*"sv,
                                          "\0\0\1\0"sv,
                                          "8BPS\0\1"sv,
                                          "\0\0\0\x0CJXL \r\n\x87\n"sv,
                                          "\xFF\x0A"sv,
                                          "/* XPM */"sv,
                                          "\0\0\0\x0CjP  \r\n"sv};
  for (const std::string_view signature : kSignatures) {
    if (beginsWith(data, 0, signature)) return true;
  }
  if (beginsWith(data, 0, "RIFF") && beginsWith(data, 8, "WEBP")) return true;
  // Portable maps: "P6", white space and the width.
  if (data.size() > 3 && data[0] == 'P' && data[1] >= '1' && data[1] <= '6' &&
      (data[2] == '\n' || data[2] == ' ') &&
      (data[3] == '#' || (data[3] >= '0' && data[3] <= '9'))) {
    return true;
  }
  // A bitmap's header names its own size; "BM" alone could begin a text.
  if (beginsWith(data, 0, "BM") && beginsWith(data, 6, "\0\0\0\0"sv)) return true;
  if (beginsWith(data, 4, "ftyp")) {
    for (const char* brand :
         {"heic", "heix", "heim", "heis", "hevc", "mif1", "msf1", "avif", "avis"}) {
      if (beginsWith(data, 8, brand)) return true;
    }
  }
  return false;
}

// The name of the tag that a text begins with, of a document type with the type's name: "html",
// "!doctype html"; lower case, empty where there is none.
std::string firstTag(std::string_view text) {
  static constexpr std::string_view kSpace = " \t\r\n\f";
  for (;;) {
    text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
    std::string_view end;
    if (text.starts_with("<!--")) {
      end = "-->";
    } else if (text.starts_with("<?xml")) {
      end = "?>";
    } else {
      break;
    }
    const std::size_t at = text.find(end, 2);
    if (at == std::string_view::npos) return {};
    text.remove_prefix(at + end.size());
  }
  if (!text.starts_with('<')) return {};
  text.remove_prefix(1);
  const auto takeWord = [&] {
    const std::string_view word(text.substr(0, text.find_first_of(" \t\r\n\f/>")));
    text.remove_prefix(word.size());
    return lowercase(word);
  };
  std::string tag = takeWord();
  if (tag != "!doctype") return tag;
  text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
  return "!doctype " + takeWord();
}

bool isHTMLTag(std::string_view tag) {
  static constexpr std::array<std::string_view, 47> kTags{"!doctype html",
                                                          "a",
                                                          "abbr",
                                                          "article",
                                                          "b",
                                                          "base",
                                                          "big",
                                                          "blockquote",
                                                          "body",
                                                          "br",
                                                          "center",
                                                          "code",
                                                          "dd",
                                                          "del",
                                                          "div",
                                                          "dl",
                                                          "em",
                                                          "font",
                                                          "footer",
                                                          "h1",
                                                          "h2",
                                                          "h3",
                                                          "h4",
                                                          "h5",
                                                          "h6",
                                                          "head",
                                                          "header",
                                                          "hr",
                                                          "html",
                                                          "i",
                                                          "img",
                                                          "li",
                                                          "link",
                                                          "main",
                                                          "meta",
                                                          "ol",
                                                          "p",
                                                          "pre",
                                                          "section",
                                                          "small",
                                                          "span",
                                                          "strong",
                                                          "style",
                                                          "table",
                                                          "title",
                                                          "u",
                                                          "ul"};
  return std::find(kTags.begin(), kTags.end(), tag) != kTags.end();
}

}  // namespace

NSData readInput(const std::string& path) {
  if (path == "-") return readToEnd(STDIN_FILENO);
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  if (file.get() < 0) refuseErrno();
  return readToEnd(file.get());
}

NSData readRegularFile(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (file.get() < 0) refuseErrno();
  struct stat status {};
  if (fstat(file.get(), &status) != 0) refuseErrno();
  if (!S_ISREG(status.st_mode)) refuse("not a regular file");
  return readToEnd(file.get());
}

DataKind kindOfData(const NSData& data) {
  if (hasImageSignature(data)) return DataKind::image;
  const std::optional<std::string> text = decodeText(data);
  if (!text) {
    return ImageCodec::installed()->decode(data) ? DataKind::image : DataKind::unknown;
  }
  const std::string tag = firstTag(*text);
  if (tag == "svg" || tag == "!doctype svg") return DataKind::image;
  return isHTMLTag(tag) ? DataKind::html : DataKind::text;
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

std::optional<std::string> decodeText(const NSData& data) {
  return decodeText(std::string_view(reinterpret_cast<const char*>(data.data()), data.size()));
}

}  // namespace korvane
