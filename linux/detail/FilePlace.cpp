#include "linux/detail/FilePlace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>
#include <vector>

#include "linux/detail/OpenWithoutLinks.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

constexpr int kHoldFolder = O_PATH | O_DIRECTORY | O_CLOEXEC;

FileDescriptor holdFolder(const std::string& path) {
  FileDescriptor folder(::open(path.c_str(), kHoldFolder));
  if (!folder) throw FileFailure{errno, path};
  return folder;
}

bool isLink(int folder, const std::string& name) {
  struct stat status = {};
  return ::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISLNK(status.st_mode);
}

/// Opens a folder inside another one of the container.
FileDescriptor stepInto(const FileDescriptor& folder, const std::string& name,
                        const std::string& path) {
  FileDescriptor next(::openat(folder.get(), name.c_str(), kHoldFolder | O_NOFOLLOW));
  if (next) return next;
  const int code = errno;
  if (isLink(folder.get(), name)) {
    throw FileFailure{ELOOP, path, translated("a link inside the container is not followed")};
  }
  throw FileFailure{code, path};
}

}  // namespace

FilePlace locate(const ContainerRoot& container, std::string_view path) {
  FilePlace place;
  place.path = path;
  if (path.empty()) throw FileFailure{ENOENT, {}};
  if (path.find('\0') != std::string_view::npos) {
    throw FileFailure{EINVAL, place.path.substr(0, path.find('\0')),
                      translated("a path cannot hold a NUL character")};
  }

  const auto relative = container.relativePath(path);
  if (relative && !relative->empty()) {
    place.links = Links::refused;
    std::vector<std::string> components = pathComponents(*relative);
    place.name = std::move(components.back());
    components.pop_back();
    std::string reached = *container.path();
    std::string folder = reached;
    for (const std::string& component : components) folder += "/" + component;
    // In one step. Where that fails, be it because a link is on the way, perhaps above the
    // container, or because the kernel cannot, walking there tells more.
    place.folder = openWithoutLinks(AT_FDCWD, folder, kHoldFolder);
    if (place.folder) return place;
    place.folder = holdFolder(reached);
    for (const std::string& component : components) {
      reached += "/" + component;
      place.folder = stepInto(place.folder, component, reached);
    }
    return place;
  }

  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  const std::size_t slash = path.rfind('/');
  place.name = path.substr(slash + 1);
  if (place.name.empty()) place.name = ".";  // the root
  const std::string_view folder =
      slash == std::string_view::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
  place.folder = holdFolder(std::string(folder));
  return place;
}

}  // namespace korvane
