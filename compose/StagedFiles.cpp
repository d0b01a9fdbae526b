#include "compose/StagedFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "compose/FolderZip.h"
#include "compose/MailText.h"
#include "extension/ExtensionUtilities.h"
#include "linux/detail/ContainerRoot.h"
#include "linux/detail/FileCopy.h"
#include "linux/detail/FileDescriptor.h"
#include "linux/detail/OpenWithoutLinks.h"
#include "platform/NSFileCoordinator.h"
#include "platform/NSString.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

constexpr const char* kStagingService = "Share";

std::string notAttached(const std::string& reason) {
  return translated("is not attached: {0}", reason);
}

std::string reasonOf(int code) {
  switch (code) {
    case ENOENT:
    case ENOTDIR:
      return translated("it is not there any more");
    case ELOOP:
      return translated("it is behind a link");
    case EXDEV:
      return translated("it is not a file of this share");
    default:
      return std::strerror(code);
  }
}

/// The staging folder's path below the container: "SharedData/Share".
std::optional<std::string> stagingName(const ContainerRoot& container) {
  const auto data = ExtensionUtilities::GroupDataPath();
  if (!data) return std::nullopt;
  return container.relativePath(
      data->URLByAppendingPathComponent(kStagingService).fileSystemRepresentation());
}

class Taking {
 public:
  Taking(const std::string& folder, LeftOutList& leftOut) : folder_(folder), leftOut_(leftOut) {}

  /// Takes the item of the staging folder that has the relative path.
  void take(int staging, const std::string& relative, const std::string& path) {
    const FileDescriptor found = openWithoutLinks(staging, relative, O_PATH, PathReach::beneath);
    OpenedItem item;
    if (!found || ::fstat(found.get(), &item.status) != 0) return leaveOut(path, reasonOf(errno));
    if (!S_ISREG(item.status.st_mode) && !S_ISDIR(item.status.st_mode)) {
      return leaveOut(path, translated("it is neither a file nor a folder"));
    }
    // The very item that was looked at, whatever has its name by now.
    const std::string self = "/proc/self/fd/" + std::to_string(found.get());
    item.descriptor = FileDescriptor(::open(self.c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC));
    if (!item.descriptor) return leaveOut(path, reasonOf(errno));
    copy(item, path);
  }

  std::vector<TakenFile> files() && { return std::move(files_); }

 private:
  void leaveOut(const std::string& path, const std::string& reason) {
    leftOut_.push_back({path, notAttached(reason)});
  }

  void copy(OpenedItem& item, const std::string& path) {
    const std::string name = mailFileName(path);
    TakenFile file;
    const FileDescriptor target = create(name, item.isFolder() ? ".zip" : "", file);
    if (!target) return leaveOut(path, reasonOf(errno));
    try {
      if (item.isFolder()) {
        zipFolder(item.descriptor.get(), name, target.get(), leftOut_);
      } else {
        copyContent(item, target.get(), path);
        // A file whose blocks are shared was not read, and it is by reading that others see it is.
        char byte = 0;
        (void)!::pread(item.descriptor.get(), &byte, 1, 0);
      }
      struct stat status = {};
      if (::fstat(target.get(), &status) != 0) throw FileFailure{errno, path};
      file.size = static_cast<std::uint64_t>(status.st_size);
      files_.push_back(std::move(file));
    } catch (const FileFailure& failure) {
      (void)::unlink(file.path.c_str());
      leaveOut(path, failure.text.empty() ? reasonOf(failure.code) : failure.text);
    }
  }

  /// An empty file of a name that is free.
  FileDescriptor create(const std::string& name, const std::string& added, TakenFile& file) const {
    std::string extension = pathExtension(name);
    const bool hasExtension = added.empty() && !extension.empty();
    const std::string base = hasExtension ? stringByDeletingPathExtension(name) : name;
    extension = hasExtension ? std::string(".").append(extension) : added;
    for (std::size_t counter = 0;; ++counter) {
      file.name = base;
      if (counter > 0) file.name.append("_").append(std::to_string(counter));
      file.name += extension;
      file.path = folder_ + "/" + file.name;
      FileDescriptor created(::open(file.path.c_str(),
                                    O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                    S_IRUSR | S_IWUSR));
      if (created || errno != EEXIST) return created;
    }
  }

  const std::string& folder_;
  LeftOutList& leftOut_;
  std::vector<TakenFile> files_;
};

}  // namespace

std::vector<TakenFile> takeStagedFiles(const std::vector<std::string>& paths,
                                       const std::string& folder, LeftOutList& leftOut) {
  if (paths.empty()) return {};
  const ContainerRoot container;
  const auto staging = stagingName(container);
  const auto leaveAllOut = [&](const std::string& reason) {
    for (const std::string& path : paths) leftOut.push_back({path, notAttached(reason)});
  };
  if (!staging || !container.path()) {
    leaveAllOut(translated("there is no folder for the files of a share"));
    return {};
  }

  Taking taking(folder, leftOut);
  std::optional<NSError> error;
  const NSURL url = NSURL::fileURLWithPath(*container.path() + "/" + *staging);
  NSFileCoordinator::coordinator()->coordinateWritingItemAtURL(
      url, NSFileCoordinatorWritingOptions::forDeleting, error, [&](const NSURL&) {
        const FileDescriptor root(
            ::open(container.path()->c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        const FileDescriptor opened =
            root ? openWithoutLinks(root.get(), *staging, O_PATH | O_DIRECTORY, PathReach::beneath)
                 : FileDescriptor();
        const int code = errno;
        for (const std::string& path : paths) {
          const auto relative = path.starts_with('/') ? container.relativePath(path) : std::nullopt;
          if (!relative || !relative->starts_with(*staging + "/")) {
            leftOut.push_back({path, notAttached(translated("it is not a file of this share"))});
          } else if (!opened) {
            leftOut.push_back({path, notAttached(reasonOf(code))});
          } else {
            taking.take(opened.get(), relative->substr(staging->size() + 1), path);
          }
        }
      });
  if (error) leaveAllOut(error->localizedDescription);
  return std::move(taking).files();
}

}  // namespace korvane
