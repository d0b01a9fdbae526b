#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Export.h"
#include "platform/NSError.h"
#include "platform/NSURL.h"
#include "platform/Value.h"

namespace korvane {

class NSFileManager;

/// The application group of the mail client and its extensions, which share a container.
inline constexpr const char* kApplicationGroup = "Q7K4M2XW9P.korvane";

/// Has a say in the operations of a file manager.
class KORVANE_EXPORT NSFileManagerDelegate {
 public:
  virtual ~NSFileManagerDelegate() = default;
  /// Asked on the copying thread when something inside a folder cannot be copied: whether to go on
  /// without it. `copyingItemAtPath` is its path below the folder that is being copied, `toPath`
  /// the one that its copy would have got. Several copies may ask at the same time.
  virtual bool fileManager(NSFileManager& manager, const NSError& shouldProceedAfterError,
                           std::string_view copyingItemAtPath, std::string_view toPath) = 0;
};

/// Files and folders; a service of the Platform. Any thread may call.
///
/// An operation that fails returns false and puts the failure into `error`; one that succeeds
/// returns true and leaves `error` as it was, a failure of an earlier call included. Paths are
/// bytes as the file system has them. What it creates only the user can read (files 0600, folders
/// 0700).
class KORVANE_EXPORT NSFileManager {
 public:
  virtual ~NSFileManager() = default;

  /// The file manager of the installed Platform.
  static std::shared_ptr<NSFileManager> defaultManager();

  /// The folder that the programs of an application group share, as a file URL with a trailing "/".
  /// Absent when this program has none. The folder need not exist.
  virtual std::optional<NSURL> containerURLForSecurityApplicationGroupIdentifier(
      std::string_view group) = 0;

  /// Removes a file, or a folder with all it holds. A link is removed, never followed. A missing
  /// item is an error.
  virtual bool removeItemAtURL(const NSURL& url, std::optional<NSError>& error) = 0;

  /// Creates a folder, with the missing folders above it where asked. An existing folder is an
  /// error unless intermediate folders were asked for.
  virtual bool createDirectoryAtURL(const NSURL& url, bool withIntermediateDirectories,
                                    std::optional<NSError>& error) = 0;

  /// Copies a file, or a folder with all it holds. A symbolic link is copied as what it leads to;
  /// inside a folder only one to a file of that folder is, any other cannot be copied. Fails where
  /// the destination exists, and for anything that is neither file, folder nor link to one, without
  /// ever blocking on it. After a failure there is nothing at the destination.
  ///
  /// One thing inside a folder that cannot be copied fails the whole, unless the delegate consents
  /// to go on: then the copy succeeds without it. For the item itself it is never asked.
  virtual bool copyItemAtPath(std::string_view source, std::string_view destination,
                              std::optional<NSError>& error) = 0;

  /// Whether anything is at the path, whatever it is; a link that leads nowhere counts too, since
  /// nothing could be created in its place.
  virtual bool fileExistsAtPath(std::string_view path) = 0;
  /// Whether a folder is at the path (links are followed).
  virtual bool directoryExistsAtPath(std::string_view path) = 0;

  /// The names of what a folder holds, in no order; none where there is no such folder or it cannot
  /// be read.
  virtual std::vector<std::string> contentsOfDirectoryAtPath(std::string_view /*path*/) {
    return {};
  }

  /// Writes data so that the whole of it appears under the path at once, or nothing does. An
  /// existing file is replaced.
  virtual bool writeDataAtomically(const NSData& data, std::string_view path,
                                   std::optional<NSError>& error) = 0;

  /// The delegate, absent at first. To be set before another thread uses the file manager.
  virtual void setDelegate(std::shared_ptr<NSFileManagerDelegate> delegate) {
    delegate_ = std::move(delegate);
  }
  const std::shared_ptr<NSFileManagerDelegate>& delegate() const { return delegate_; }

 private:
  std::shared_ptr<NSFileManagerDelegate> delegate_;
};

}  // namespace korvane
