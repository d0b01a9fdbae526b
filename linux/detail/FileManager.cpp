#include "linux/detail/FileManager.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <utility>

#include "linux/detail/FileCopy.h"
#include "linux/detail/FilePlace.h"
#include "linux/detail/FileTree.h"
#include "linux/detail/FolderCopy.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

/// Runs an operation; its failure becomes the error.
template <class Operation>
bool attempt(std::optional<NSError>& error, const Operation& operation) {
  try {
    operation();
    return true;
  } catch (const FileFailure& failure) {
    error = failure.error();
    return false;
  }
}

std::string pathOf(const NSURL& url) {
  if (!url.isFileURL())
    throw FileFailure{EINVAL, url.scheme().value_or(""), translated("not a file URL")};
  std::string path = url.fileSystemRepresentation();
  if (!path.starts_with('/')) throw FileFailure{EINVAL, path, translated("not an absolute path")};
  return path;
}

/// Status of the item at a place; nothing when it cannot be had.
std::optional<struct stat> statusAt(const FilePlace& place, Links links) {
  struct stat status = {};
  const int flags = links == Links::followed ? 0 : AT_SYMLINK_NOFOLLOW;
  if (::fstatat(place.folder.get(), place.name.c_str(), &status, flags) != 0) return std::nullopt;
  return status;
}

void refuseExisting(const FilePlace& place) {
  if (statusAt(place, Links::refused)) throw FileFailure{EEXIST, place.path};
}

/// Makes a folder of mode 0700, whatever the process's mask says.
void makeFolder(const FilePlace& place) {
  if (::mkdirat(place.folder.get(), place.name.c_str(), S_IRWXU) != 0) {
    throw FileFailure{errno, place.path};
  }
  openPrivateFolder(place.folder.get(), place.name, place.path);
}

void writeAll(int file, const NSData& data, const std::string& path) {
  const std::uint8_t* next = data.data();
  std::size_t left = data.size();
  while (left > 0) {
    const ssize_t count = ::write(file, next, left);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw FileFailure{errno, path};
    next += count;
    left -= static_cast<std::size_t>(count);
  }
}

std::string withoutTrailingSlashes(std::string path) {
  while (path.ends_with('/')) path.pop_back();
  return path;
}

}  // namespace

FileManager::FileManager(FileManagerOptions options) : options_(std::move(options)) {}

std::optional<NSURL> FileManager::containerURLForSecurityApplicationGroupIdentifier(
    std::string_view group) {
  const std::optional<std::string>& root = options_.container.path();
  if (group != kApplicationGroup || !root) return std::nullopt;
  const NSURL url = NSURL::fileURLWithPath(*root);
  const std::string& text = url.absoluteString();
  return text.ends_with('/') ? url : NSURL::URLWithString(text + "/");
}

bool FileManager::removeItemAtURL(const NSURL& url, std::optional<NSError>& error) {
  return attempt(error, [&] {
    const FilePlace place = locate(options_.container, pathOf(url));
    if (place.name == "." || place.name == "..") throw FileFailure{EINVAL, place.path};
    removeEntryAtOnce(place);
  });
}

bool FileManager::createDirectoryAtURL(const NSURL& url, bool withIntermediateDirectories,
                                       std::optional<NSError>& error) {
  return attempt(error, [&] {
    const std::string path = pathOf(url);
    if (withIntermediateDirectories) {
      createIntermediateDirectories(path);
    } else {
      makeFolder(locate(options_.container, path));
    }
  });
}

bool FileManager::copyItemAtPath(std::string_view source, std::string_view destination,
                                 std::optional<NSError>& error) {
  return attempt(error, [&] {
    const FilePlace from = locate(options_.container, source);
    const FilePlace to = locate(options_.container, destination);
    refuseExisting(to);
    OpenedItem item = openItem(from.folder.get(), from.name, from.path, from.links);
    const auto kind = item.isFolder() ? UnfinishedEntry::Kind::folder : UnfinishedEntry::Kind::file;
    UnfinishedEntry copy(to, kind);
    if (item.isFolder()) {
      const std::string fromPath = withoutTrailingSlashes(from.path);
      const std::string toPath = withoutTrailingSlashes(to.path);
      FolderCopyRules rules;
      const bool contained = options_.container.relativePath(source).has_value();
      rules.links = contained ? Links::refused : Links::followed;
      rules.maxEntries = options_.maxEntries;
      if (const auto& asked = delegate()) {
        rules.shouldProceed = [&](const FileFailure& failure, std::string_view relative) {
          const std::string below = std::string("/").append(relative);
          return asked->fileManager(*this, failure.error(), fromPath + below, toPath + below);
        };
      }
      copyFolder(std::move(item), copy.descriptor(), fromPath, rules);
    } else {
      copyContent(item, copy.descriptor(), from.path);
    }
    copy.publish(UnfinishedEntry::Existing::refused);
  });
}

bool FileManager::fileExistsAtPath(std::string_view path) {
  try {
    return statusAt(locate(options_.container, path), Links::refused).has_value();
  } catch (const FileFailure&) {
    return false;
  }
}

bool FileManager::directoryExistsAtPath(std::string_view path) {
  try {
    const FilePlace place = locate(options_.container, path);
    const auto status = statusAt(place, place.links);
    return status && S_ISDIR(status->st_mode);
  } catch (const FileFailure&) {
    return false;
  }
}

std::vector<std::string> FileManager::contentsOfDirectoryAtPath(std::string_view path) {
  std::vector<std::string> names;
  try {
    const FilePlace place = locate(options_.container, path);
    const int follow = place.links == Links::followed ? 0 : O_NOFOLLOW;
    FileDescriptor folder(::openat(place.folder.get(), place.name.c_str(),
                                   O_RDONLY | O_DIRECTORY | O_CLOEXEC | follow));
    if (!folder) return names;
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(::fdopendir(folder.get()), &::closedir);
    if (!stream) return names;
    folder.release();
    while (const dirent* entry = ::readdir(stream.get())) {
      const std::string_view name = entry->d_name;
      if (name != "." && name != "..") names.emplace_back(name);
    }
  } catch (const FileFailure&) {
  }
  return names;
}

bool FileManager::writeDataAtomically(const NSData& data, std::string_view path,
                                      std::optional<NSError>& error) {
  return attempt(error, [&] {
    const FilePlace place = locate(options_.container, path);
    UnfinishedEntry file(place, UnfinishedEntry::Kind::file);
    writeAll(file.descriptor(), data, place.path);
    file.publish(UnfinishedEntry::Existing::replaced);
  });
}

void FileManager::createIntermediateDirectories(std::string_view path) const {
  const std::string whole = normalisedPath(path);
  for (std::size_t end = 0; end != std::string::npos;) {
    end = whole.find('/', end + 1);
    const FilePlace place = locate(options_.container, whole.substr(0, end));
    if (const auto status = statusAt(place, place.links)) {
      if (S_ISDIR(status->st_mode)) continue;
      if (S_ISLNK(status->st_mode)) {
        throw FileFailure{ELOOP, place.path,
                          translated("a link inside the container is not followed")};
      }
      throw FileFailure{end == std::string::npos ? EEXIST : ENOTDIR, place.path};
    }
    try {
      makeFolder(place);
    } catch (const FileFailure& failure) {
      // Somebody else may have made it in between.
      const auto made = statusAt(place, place.links);
      if (failure.code != EEXIST || !made || !S_ISDIR(made->st_mode)) throw;
    }
  }
}

}  // namespace korvane
