#include "host/ItemProviders.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <utility>

#include "host/InputData.h"
#include "host/Paths.h"
#include "host/URLText.h"
#include "linux/detail/RemoteFiles.h"
#include "platform/Dispatch.h"
#include "platform/NSURL.h"

namespace korvane {
namespace {

constexpr const char* kFileURL = "public.file-url";
constexpr const char* kItemProviderErrorDomain = "NSItemProviderErrorDomain";
constexpr long kItemUnavailableError = -1000;

NSError unavailable(std::string why) {
  return {kItemProviderErrorDomain, kItemUnavailableError, std::move(why)};
}

/// A provider of one type; derived ones deliver what loading gives.
class Provider : public NSItemProvider {
 public:
  Provider(std::string type, std::shared_ptr<ShareLoads> loads)
      : type_(std::move(type)), loads_(std::move(loads)) {}

  bool hasItemConformingToTypeIdentifier(std::string_view typeIdentifier) const override {
    return UTTypeConformsTo(type_, typeIdentifier);
  }

  void loadItemForTypeIdentifier(std::string_view typeIdentifier, LoadHandler handler) override {
    if (hasItemConformingToTypeIdentifier(typeIdentifier)) {
      load(std::move(handler));
    } else {
      handler({}, unavailable("the item is no " + std::string(typeIdentifier)));
    }
  }

 protected:
  virtual void load(LoadHandler handler) = 0;

  const std::shared_ptr<ShareLoads>& loads() const { return loads_; }

  static void deliverLink(ShareLoads& loads, const NSURL& url, const LoadHandler& handler) {
    ++loads.linksDelivered;
    handler(Value(url), std::nullopt);
  }
  static void deliverFile(ShareLoads& loads, std::string path, LoadHandler handler) {
    loads.files.async([path = std::move(path), handler = std::move(handler)] {
      handler(Value(NSURL::fileURLWithPath(path)), std::nullopt);
    });
  }
  static void inBackground(std::function<void()> job) {
    dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0), std::move(job));
  }

 private:
  std::string type_;
  std::shared_ptr<ShareLoads> loads_;
};

class LinkProvider : public Provider {
 public:
  LinkProvider(NSURL url, std::shared_ptr<ShareLoads> loads)
      : Provider(kUTTypeURL, std::move(loads)), url_(std::move(url)) {}

 private:
  void load(LoadHandler handler) override { deliverLink(*loads(), url_, handler); }

  NSURL url_;
};

class FileProvider : public Provider {
 public:
  FileProvider(std::string path, std::shared_ptr<ShareLoads> loads)
      : Provider(kFileURL, std::move(loads)), path_(std::move(path)) {}

 private:
  void load(LoadHandler handler) override { deliverFile(*loads(), path_, std::move(handler)); }

  std::string path_;
};

/// A file that may have a local path; without one its URL is shared as a link.
class RemoteFileProvider : public Provider {
 public:
  RemoteFileProvider(NSURL url, std::shared_ptr<ShareLoads> loads)
      : Provider(kUTTypeURL, std::move(loads)), url_(std::move(url)) {}

 private:
  void load(LoadHandler handler) override {
    inBackground([loads = loads(), url = url_, handler = std::move(handler)] {
      if (const auto path = loads->localPath(url.absoluteString())) {
        deliverFile(*loads, *path, handler);
      } else {
        deliverLink(*loads, url, handler);
      }
    });
  }

  NSURL url_;
};

class ImageFileProvider : public Provider {
 public:
  ImageFileProvider(std::string path, std::shared_ptr<ShareLoads> loads)
      : Provider(kUTTypeImage, std::move(loads)), path_(std::move(path)) {}

 private:
  void load(LoadHandler handler) override {
    inBackground([path = path_, handler = std::move(handler)] {
      Value data;
      try {
        data = readRegularFile(path);
      } catch (const std::exception& failure) {
        handler({}, unavailable(path + ": " + failure.what()));
        return;
      }
      handler(data, std::nullopt);
    });
  }

  std::string path_;
};

class ImageDataProvider : public Provider {
 public:
  ImageDataProvider(std::string type, NSData data, std::shared_ptr<ShareLoads> loads)
      : Provider(std::move(type), std::move(loads)), data_(std::move(data)) {}

 private:
  void load(LoadHandler handler) override {
    inBackground([data = data_, handler = std::move(handler)] { handler(data, std::nullopt); });
  }

  Value data_;
};

class TextProvider : public Provider {
 public:
  TextProvider(std::string type, std::string_view text, std::shared_ptr<ShareLoads> loads)
      : Provider(std::move(type), std::move(loads)), text_(text) {}

 private:
  void load(LoadHandler handler) override { handler(text_, std::nullopt); }

  Value text_;
};

/// What can never be loaded, and why.
class FailingProvider : public Provider {
 public:
  FailingProvider(std::string type, std::string why, std::shared_ptr<ShareLoads> loads)
      : Provider(std::move(type), std::move(loads)), why_(std::move(why)) {}

 private:
  void load(LoadHandler handler) override { handler({}, unavailable(why_)); }

  std::string why_;
};

using Loads = std::shared_ptr<ShareLoads>;
using Made = std::shared_ptr<NSItemProvider>;

Made make(const ShareRequest::File& file, const Loads& loads) {
  return std::make_shared<FileProvider>(absolutePath(file.path), loads);
}

Made makeForFileURL(std::string_view url, const Loads& loads) {
  if (auto path = pathOfFileURL(url)) return make(ShareRequest::File{*path}, loads);
  return std::make_shared<FailingProvider>(kFileURL, "the URL names no file of this machine",
                                           loads);
}

/// Whether following the link runs a program or opens a document that the link itself carries.
bool isActive(const NSURL& url) {
  return std::ranges::any_of(std::array{"javascript", "vbscript", "data"}, [&](const char* scheme) {
    return schemeIs(url.absoluteString(), scheme);
  });
}

Made make(const ShareRequest::Link& link, const Loads& loads) {
  if (schemeIs(link.url, "file")) return makeForFileURL(link.url, loads);
  const auto url = urlFromText(link.url);
  if (!url || isActive(*url)) return nullptr;
  if (url->isFileURL()) return makeForFileURL(url->absoluteString(), loads);
  if (isRemoteFileScheme(schemeOf(url->absoluteString()))) {
    return std::make_shared<RemoteFileProvider>(*url, loads);
  }
  return std::make_shared<LinkProvider>(*url, loads);
}

Made make(const ShareRequest::ImageFile& image, const Loads& loads) {
  return std::make_shared<ImageFileProvider>(absolutePath(image.path), loads);
}

Made make(const ShareRequest::ImageData& image, const Loads& loads) {
  return std::make_shared<ImageDataProvider>(kUTTypeImage, image.data, loads);
}

Made make(const ShareRequest::TypedText& typed, const Loads& loads) {
  if (UTTypeConformsTo(typed.type, kUTTypeURL)) return make(ShareRequest::Link{typed.text}, loads);
  if (UTTypeConformsTo(typed.type, kUTTypeImage)) {
    return std::make_shared<ImageDataProvider>(typed.type,
                                               NSData(typed.text.begin(), typed.text.end()), loads);
  }
  return std::make_shared<TextProvider>(typed.type, typed.text, loads);
}

}  // namespace

void SerialQueue::async(std::function<void()> job) {
  {
    std::lock_guard lock(state_->mutex);
    state_->jobs.push_back(std::move(job));
    if (std::exchange(state_->running, true)) return;
  }
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0), [state = state_] {
    std::unique_lock lock(state->mutex);
    while (!state->jobs.empty()) {
      {
        const std::function<void()> next = std::move(state->jobs.front());
        state->jobs.pop_front();
        lock.unlock();
        try {
          next();
        } catch (...) {  // no memory, say: the next one may fit
        }
      }
      lock.lock();
    }
    state->running = false;
  });
}

std::shared_ptr<NSItemProvider> makeItemProvider(const ShareRequest::Attachment& attachment,
                                                 const std::shared_ptr<ShareLoads>& loads) {
  return std::visit([&](const auto& kind) { return make(kind, loads); }, attachment);
}

}  // namespace korvane
