#include "extension/NSString+Drelk_Fs.h"

#include <algorithm>
#include <cstdint>

#include "platform/NSFileManager.h"
#include "platform/NSFormat.h"
#include "platform/NSString.h"

namespace korvane {
namespace {

// What file systems allow in one component of a path, in bytes.
constexpr std::size_t kMaximumName = 255;

/// The text cut to a number of bytes, at the end of a UTF-8 character.
std::string_view shortened(std::string_view text, std::size_t size) {
  if (text.size() <= size) return text;
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  return text.substr(0, size);
}

}  // namespace

std::string Drelk_Fs::GetGoodPath(std::string_view name, std::string_view folder) {
  std::string base = stringByDeletingPathExtension(name);
  std::string extension = pathExtension(name);
  if (!extension.empty()) extension.insert(0, ".");
  if (extension.size() >= kMaximumName) {  // no extension, just a long name with a dot
    base = name;
    extension.clear();
  }

  const auto files = NSFileManager::defaultManager();
  const std::string start = std::string(folder) + "/";
  std::string path;
  std::string suffix;
  for (std::uint64_t counter = 1;; ++counter) {
    const std::size_t room =
        kMaximumName - std::min(kMaximumName, extension.size() + suffix.size());
    path = start;
    path += shortened(base, room);
    path += suffix;
    path += extension;
    if (!files->fileExistsAtPath(path)) return path;
    suffix = stringWithFormat("_%lu", counter);
  }
}

}  // namespace korvane
