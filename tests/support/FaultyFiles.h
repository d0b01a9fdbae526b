#pragma once

// A file manager that hands on to another one, and fails or raises where a test wants it to.

#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/NSFileManager.h"

namespace korvane::testing {

class FaultyFiles : public NSFileManager {
 public:
  explicit FaultyFiles(std::shared_ptr<NSFileManager> files) : files_(std::move(files)) {}

  /// Called before each operation that changes something, with its name ("remove", "create", "copy"
  /// or "write") and the path; an error that it gives is the operation's, which then does nothing.
  std::function<std::optional<NSError>(std::string_view operation, std::string_view path)> fault;

  std::optional<NSURL> containerURLForSecurityApplicationGroupIdentifier(
      std::string_view group) override {
    return files_->containerURLForSecurityApplicationGroupIdentifier(group);
  }
  bool removeItemAtURL(const NSURL& url, std::optional<NSError>& error) override {
    return !fails("remove", url.fileSystemRepresentation(), error) &&
           files_->removeItemAtURL(url, error);
  }
  bool createDirectoryAtURL(const NSURL& url, bool withIntermediateDirectories,
                            std::optional<NSError>& error) override {
    return !fails("create", url.fileSystemRepresentation(), error) &&
           files_->createDirectoryAtURL(url, withIntermediateDirectories, error);
  }
  bool copyItemAtPath(std::string_view source, std::string_view destination,
                      std::optional<NSError>& error) override {
    return !fails("copy", source, error) && files_->copyItemAtPath(source, destination, error);
  }
  bool fileExistsAtPath(std::string_view path) override { return files_->fileExistsAtPath(path); }
  bool directoryExistsAtPath(std::string_view path) override {
    return files_->directoryExistsAtPath(path);
  }
  std::vector<std::string> contentsOfDirectoryAtPath(std::string_view path) override {
    return files_->contentsOfDirectoryAtPath(path);
  }
  bool writeDataAtomically(const NSData& data, std::string_view path,
                           std::optional<NSError>& error) override {
    return !fails("write", path, error) && files_->writeDataAtomically(data, path, error);
  }
  void setDelegate(std::shared_ptr<NSFileManagerDelegate> delegate) override {
    files_->setDelegate(std::move(delegate));
  }

 private:
  bool fails(std::string_view operation, std::string_view path, std::optional<NSError>& error) {
    std::optional<NSError> failure;
    if (fault) failure = fault(operation, path);
    if (failure) error = failure;
    return failure.has_value();
  }

  std::shared_ptr<NSFileManager> files_;
};

}  // namespace korvane::testing
