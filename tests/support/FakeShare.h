#pragma once

// What a share needs, in memory: files, coordination, providers, a context and a workspace that
// remembers what it was asked.

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/NSExtension.h"
#include "platform/Platform.h"
#include "tests/support/TestPlatform.h"

namespace korvane::testing {

/// Files and folders in memory. The container of every application group is /container.
class MemoryFiles : public NSFileManager {
 public:
  std::optional<NSURL> containerURLForSecurityApplicationGroupIdentifier(
      std::string_view) override {
    return NSURL::URLWithString("file:///container/");
  }
  bool removeItemAtURL(const NSURL& url, std::optional<NSError>& error) override {
    const std::string path = withoutSlash(url.fileSystemRepresentation());
    std::lock_guard lock(mutex_);
    const auto inside = [&](const std::string& entry) {
      return entry == path || entry.starts_with(path + "/");
    };
    const auto files = std::erase_if(files_, [&](const auto& file) { return inside(file.first); });
    const auto folders = std::erase_if(folders_, inside);
    return files + folders > 0 || fail(error, ENOENT, path);
  }
  bool createDirectoryAtURL(const NSURL& url, bool withIntermediateDirectories,
                            std::optional<NSError>& error) override {
    const std::string path = withoutSlash(url.fileSystemRepresentation());
    std::lock_guard lock(mutex_);
    if (folders_.insert(path).second || withIntermediateDirectories) return true;
    return fail(error, EEXIST, path);
  }
  bool copyItemAtPath(std::string_view source, std::string_view destination,
                      std::optional<NSError>& error) override {
    std::lock_guard lock(mutex_);
    const auto found = files_.find(std::string(source));
    if (found == files_.end()) return fail(error, ENOENT, std::string(source));
    const auto [to, isNew] = files_.emplace(destination, found->second);
    return isNew || fail(error, EEXIST, to->first);
  }
  bool fileExistsAtPath(std::string_view path) override {
    std::lock_guard lock(mutex_);
    return files_.contains(std::string(path)) || folders_.contains(std::string(path));
  }
  bool directoryExistsAtPath(std::string_view path) override {
    std::lock_guard lock(mutex_);
    return folders_.contains(withoutSlash(std::string(path)));
  }
  bool writeDataAtomically(const NSData& data, std::string_view path,
                           std::optional<NSError>&) override {
    std::lock_guard lock(mutex_);
    files_.insert_or_assign(std::string(path), data);
    return true;
  }

  void add(const std::string& path, std::string_view content) {
    std::lock_guard lock(mutex_);
    files_.insert_or_assign(path, NSData(content.begin(), content.end()));
  }
  std::map<std::string, NSData> files() const {
    std::lock_guard lock(mutex_);
    return files_;
  }

 private:
  static std::string withoutSlash(std::string path) {
    if (path.size() > 1 && path.ends_with('/')) path.pop_back();
    return path;
  }
  static bool fail(std::optional<NSError>& error, int number, const std::string& path) {
    error = NSError::withErrno(number, path);
    return false;
  }

  mutable std::mutex mutex_;
  std::map<std::string, NSData> files_;
  std::set<std::string> folders_;
};

/// Coordinates within the process: one access at a time.
class MemoryCoordinator : public NSFileCoordinator {
 public:
  void coordinateWritingItemAtURL(const std::optional<NSURL>& url, NSFileCoordinatorWritingOptions,
                                  std::optional<NSError>& error,
                                  const std::function<void(const NSURL&)>& accessor) override {
    if (!url) {
      error = NSError::withErrno(EINVAL);
      return;
    }
    std::lock_guard lock(mutex_);
    accessor(*url);
  }

 private:
  std::mutex mutex_;
};

/// "picture NAME" decodes to a bitmap of these bytes, which encodes to "PNG NAME" or "TIFF NAME";
/// the TIFF form decodes again.
class FakeImages : public ImageCodec {
 public:
  std::shared_ptr<const Bitmap> decode(const NSData& encoded, std::string*) override {
    const std::string text(encoded.begin(), encoded.end());
    for (const std::string prefix : {"picture ", "TIFF "}) {
      if (!text.starts_with(prefix)) continue;
      Bitmap bitmap{
          1, 1, 4, 4, {encoded.begin() + static_cast<long>(prefix.size()), encoded.end()}};
      return std::make_shared<const Bitmap>(std::move(bitmap));
    }
    return nullptr;
  }
  std::optional<NSData> encode(const Bitmap& bitmap, NSBitmapImageFileType type,
                               EncodingEffort) override {
    const std::string_view prefix = type == NSBitmapImageFileType::PNG ? "PNG " : "TIFF ";
    NSData data(prefix.begin(), prefix.end());
    data.insert(data.end(), bitmap.pixels.begin(), bitmap.pixels.end());
    return data;
  }
};

/// A provider of one item of one type. By default it calls the handler at once, on the thread that
/// asks; `deliver` may keep it for later or call it elsewhere.
class FakeProvider : public NSItemProvider {
 public:
  using Deliver = std::function<void(std::function<void()> call)>;

  FakeProvider(std::string type, Value item, std::optional<NSError> error = std::nullopt)
      : type_(std::move(type)), item_(std::move(item)), error_(std::move(error)) {}

  bool hasItemConformingToTypeIdentifier(std::string_view typeIdentifier) const override {
    asked.emplace_back(typeIdentifier);
    return UTTypeConformsTo(type_, typeIdentifier);
  }
  void loadItemForTypeIdentifier(std::string_view typeIdentifier, LoadHandler handler) override {
    loaded.emplace_back(typeIdentifier);
    auto call = [handler = std::move(handler), item = item_, error = error_] {
      handler(item, error);
    };
    if (deliver) {
      deliver(std::move(call));
    } else {
      call();
    }
  }

  Deliver deliver;
  /// The types that were asked for and loaded; by one thread at a time.
  mutable std::vector<std::string> asked;
  std::vector<std::string> loaded;

 private:
  std::string type_;
  Value item_;
  std::optional<NSError> error_;
};

inline std::shared_ptr<FakeProvider> urlProvider(std::string_view url) {
  return std::make_shared<FakeProvider>(kUTTypeURL, Value(NSURL::URLWithString(url).value()));
}
inline std::shared_ptr<FakeProvider> imageProvider(std::string_view data) {
  return std::make_shared<FakeProvider>("public.png", Value(NSData(data.begin(), data.end())));
}

class FakeContext : public NSExtensionContext {
 public:
  explicit FakeContext(std::vector<NSExtensionItem> items = {}) : items_(std::move(items)) {}
  const std::vector<NSExtensionItem>& inputItems() const override {
    if (onInputItems) onInputItems();
    return items_;
  }
  void completeRequestReturningItems(std::vector<NSExtensionItem> items,
                                     std::function<void(bool)> completion) override {
    completed.push_back(std::move(items));
    hasCompletion = static_cast<bool>(completion);
  }
  void cancelRequestWithError(const NSError& error) override {
    cancelled.push_back(error);
    if (onCancel) onCancel();
  }

  std::vector<std::vector<NSExtensionItem>> completed;
  bool hasCompletion = false;
  std::vector<NSError> cancelled;
  std::function<void()> onInputItems;
  std::function<void()> onCancel;

 private:
  std::vector<NSExtensionItem> items_;
};

class RecordingWorkspace : public NSWorkspace {
 public:
  struct Request {
    std::vector<std::string> urls;
    std::string application;
    unsigned options = 0;
    friend bool operator==(const Request&, const Request&) = default;
  };
  bool openURLs(const std::vector<NSURL>& urls, std::string_view withAppBundleIdentifier,
                unsigned options) override {
    Request request{{}, std::string(withAppBundleIdentifier), options};
    for (const NSURL& url : urls) request.urls.push_back(url.absoluteString());
    std::lock_guard lock(mutex_);
    requests_.push_back(std::move(request));
    return answer;
  }
  std::vector<Request> requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
  }
  bool answer = true;

 private:
  mutable std::mutex mutex_;
  std::vector<Request> requests_;
};

/// A platform on which a share runs in memory. waitUntilIdle() returns when its background job is
/// done.
struct SharePlatform : TestPlatform {
  std::shared_ptr<MemoryFiles> files = std::make_shared<MemoryFiles>();
  std::shared_ptr<RecordingWorkspace> workspace = std::make_shared<RecordingWorkspace>();
  std::shared_ptr<ThreadPool> pool = std::make_shared<ThreadPool>(4);

  SharePlatform() {
    services.fileManager = files;
    services.fileCoordinator = std::make_shared<MemoryCoordinator>();
    services.images = std::make_shared<FakeImages>();
    services.workspace = workspace;
    services.queue = pool;
    install();
  }
  ~SharePlatform() { pool->waitUntilIdle(); }
  SharePlatform(const SharePlatform&) = delete;
  SharePlatform& operator=(const SharePlatform&) = delete;
  void waitUntilIdle() { pool->waitUntilIdle(); }
};

}  // namespace korvane::testing
