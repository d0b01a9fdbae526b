#include "host/MisreadPaths.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <system_error>
#include <vector>

#include "text/UTF8.h"

namespace korvane {
namespace {

/// How many paths may be followed at a time. More read alike only where somebody made them so.
constexpr std::size_t kMaxCandidates = 64;

bool isThere(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

bool isInDoubt(std::string_view text) {
  return text.find(kReplacementUTF8) != std::string_view::npos;
}

enum class Reading { perByte, perCharacter };

std::string read(std::string_view name, Reading reading) {
  std::string text;
  while (!name.empty()) {
    const UTF8Character next = firstUTF8Character(name);
    const std::size_t size = next.isValid || reading == Reading::perCharacter ? next.size : 1;
    text += next.isValid ? name.substr(0, size) : kReplacementUTF8;
    name.remove_prefix(size);
  }
  return text;
}

bool readsAs(std::string_view name, std::string_view text) {
  return read(name, Reading::perByte) == text || read(name, Reading::perCharacter) == text;
}

/// The paths of the entries of `folder` whose names read as `text`.
void addEntries(const std::string& folder, std::string_view text, std::vector<std::string>& to) {
  std::error_code failure;
  const std::filesystem::directory_iterator end;
  for (std::filesystem::directory_iterator entry(folder, failure); !failure && entry != end;
       entry.increment(failure)) {
    if (to.size() > kMaxCandidates) return;
    const std::string path = entry->path().string();
    if (readsAs(std::string_view(path).substr(folder.size()), text)) to.push_back(path);
  }
}

}  // namespace

MisreadPath findMisreadPath(std::string_view path) {
  const std::string given(path);
  if (!path.starts_with('/') || !isInDoubt(path) || isThere(given)) return {given};

  // Each with a "/" at its end.
  std::vector<std::string> folders{"/"};
  while (!path.empty()) {
    const std::size_t begin = std::min(path.find_first_not_of('/'), path.size());
    const std::size_t end = std::min(path.find('/', begin), path.size());
    const std::string_view name = path.substr(begin, end - begin);
    path.remove_prefix(end);
    if (name.empty()) break;
    std::vector<std::string> found;
    for (const std::string& folder : folders) {
      if (isInDoubt(name)) {
        addEntries(folder, name, found);
      } else if (isThere(folder + std::string(name))) {
        found.push_back(folder + std::string(name));
      }
    }
    if (found.empty()) return {given};
    if (found.size() > kMaxCandidates) return {given, true};
    folders = std::move(found);
    for (std::string& folder : folders) folder += '/';
  }
  if (folders.size() > 1) return {given, true};
  folders.front().pop_back();
  return {folders.front()};
}

}  // namespace korvane
