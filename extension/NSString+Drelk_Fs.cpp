#include "extension/NSString+Drelk_Fs.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <unordered_set>
#include <vector>

#include "platform/NSFileManager.h"
#include "platform/NSFormat.h"
#include "platform/NSString.h"
#include "text/UTF8.h"

namespace korvane {
namespace {

// What file systems allow in one component of a path, in bytes.
constexpr std::size_t kMaxName = 255;

// As many candidates are asked for one by one before the whole folder is read.
constexpr std::uint64_t kFewCandidates = 8;

/// The text cut to a number of bytes, at the end of a UTF-8 character.
std::string_view shortened(std::string_view text, std::size_t size) {
  if (text.size() <= size) return text;
  while (size > 0 && isUTF8Continuation(text[size])) --size;
  return text.substr(0, size);
}

}  // namespace

std::string Drelk_Fs::GetGoodPath(std::string_view name, std::string_view folder) {
  std::string base = stringByDeletingPathExtension(name);
  std::string extension = pathExtension(name);
  if (!extension.empty()) extension.insert(0, ".");
  if (extension.size() >= kMaxName) {  // no extension, just a long name with a dot
    base = name;
    extension.clear();
  }

  const auto files = NSFileManager::defaultManager();
  std::string candidate;
  std::string suffix;
  std::unordered_set<std::string> taken;
  for (std::uint64_t counter = 1;; ++counter) {
    const std::size_t room = kMaxName - std::min(kMaxName, extension.size() + suffix.size());
    candidate = shortened(base, room);
    candidate += suffix;
    candidate += extension;
    if (!taken.contains(candidate)) {
      std::string path(folder);
      path += '/';
      path += candidate;
      if (!files->fileExistsAtPath(path)) return path;
      if (counter == kFewCandidates) {
        // Many pictures have one name: from here on the folder tells which candidates are taken.
        std::vector<std::string> names = files->contentsOfDirectoryAtPath(folder);
        taken.insert(std::make_move_iterator(names.begin()), std::make_move_iterator(names.end()));
      }
    }
    suffix = stringWithFormat("_%lu", counter);
  }
}

}  // namespace korvane
