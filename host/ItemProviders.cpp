#include "host/ItemProviders.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <utility>

#include "host/InputData.h"
#include "host/MisreadPaths.h"
#include "host/Paths.h"
#include "host/URLText.h"
#include "platform/Dispatch.h"
#include "platform/NSURL.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

constexpr const char* kFileURL = "public.file-url";
constexpr const char* kItemProviderErrorDomain = "NSItemProviderErrorDomain";
constexpr long kItemUnavailableError = -1000;
constexpr const char* kNoPicture = translatable("it is not a picture that can be read");

NSError unavailable(std::string why) {
  return {kItemProviderErrorDomain, kItemUnavailableError, std::move(why)};
}

/// A provider of one type; derived ones deliver what loading gives.
class Provider : public NSItemProvider {
 public:
  Provider(std::string type, std::shared_ptr<ShareLoads> loads, std::size_t thing)
      : type_(std::move(type)), loads_(std::move(loads)), thing_(thing) {}

  bool hasItemConformingToTypeIdentifier(std::string_view typeIdentifier) const override {
    return UTTypeConformsTo(type_, typeIdentifier);
  }

  void loadItemForTypeIdentifier(std::string_view typeIdentifier, LoadHandler handler) override {
    if (hasItemConformingToTypeIdentifier(typeIdentifier)) {
      load(std::move(handler));
    } else {
      fail(translated("the item is not of the type {0}", typeIdentifier), handler);
    }
  }

 protected:
  virtual void load(LoadHandler handler) = 0;

  const std::shared_ptr<ShareLoads>& loads() const { return loads_; }
  std::size_t thing() const { return thing_; }

  void fail(const std::string& why, const LoadHandler& handler) const {
    fail(*loads_, thing_, why, why, handler);
  }
  static void fail(ShareLoads& loads, std::size_t thing, std::string why, std::string logged,
                   const LoadHandler& handler) {
    loads.run->fail(thing, std::move(why), [&] { handler({}, unavailable(std::move(logged))); });
  }
  static void deliverLink(ShareLoads& loads, std::size_t thing, const NSURL& url,
                          const LoadHandler& handler) {
    loads.run->deliver(thing, [&] { handler(Value(url), std::nullopt); });
  }
  static void deliverFile(const std::shared_ptr<ShareLoads>& loads, std::size_t thing,
                          std::string path, LoadHandler handler) {
    loads->files.async([loads, thing, path = std::move(path), handler = std::move(handler)] {
      const MisreadPath found = findMisreadPath(path);
      if (found.isAmbiguous) {
        const std::string why = translated("several files have names that read so");
        fail(*loads, thing, why, path + ": " + why, handler);
        return;
      }
      loads->run->deliverStaged(
          thing, [&] { handler(Value(NSURL::fileURLWithPath(found.path)), std::nullopt); });
    });
  }

 private:
  std::string type_;
  std::shared_ptr<ShareLoads> loads_;
  std::size_t thing_;
};

class LinkProvider : public Provider {
 public:
  LinkProvider(NSURL url, std::shared_ptr<ShareLoads> loads, std::size_t thing)
      : Provider(kUTTypeURL, std::move(loads), thing), url_(std::move(url)) {}

 private:
  void load(LoadHandler handler) override { deliverLink(*loads(), thing(), url_, handler); }

  NSURL url_;
};

class FileProvider : public Provider {
 public:
  FileProvider(std::string path, std::shared_ptr<ShareLoads> loads, std::size_t thing)
      : Provider(kFileURL, std::move(loads), thing), path_(std::move(path)) {}

 private:
  void load(LoadHandler handler) override {
    deliverFile(loads(), thing(), loads()->run->placeOf(path_), std::move(handler));
  }

  std::string path_;
};

/// A picture, made ready with those before and after it.
class ImageProvider : public Provider {
 public:
  /// `name` stands before the reason in the log where the data cannot be read.
  ImageProvider(std::string type, PictureLane::Read read, std::string name,
                std::shared_ptr<ShareLoads> loads, std::size_t thing)
      : Provider(std::move(type), std::move(loads), thing),
        read_(std::move(read)),
        name_(std::move(name)) {}

 private:
  void load(LoadHandler handler) override {
    loads()->pictureLane.add(
        read_, [loads = loads(), thing = thing(), name = name_, handler = std::move(handler)](
                   PreparedPicture& picture, const std::string& why) {
          if (!picture.data.isData()) {
            fail(*loads, thing, why, name + why, handler);
            return;
          }
          loads->run->deliverStaged(thing, [&] {
            const PreparedScope scope(picture);
            if (!picture.png && !why.empty()) loads->run->blame(why);
            handler(picture.data, std::nullopt);
          });
        });
  }

  PictureLane::Read read_;
  std::string name_;
};

/// What no share takes.
class TextProvider : public Provider {
 public:
  TextProvider(std::string type, std::string_view text, std::shared_ptr<ShareLoads> loads)
      : Provider(std::move(type), std::move(loads), 0), text_(text) {}

 private:
  void load(LoadHandler handler) override { handler(text_, std::nullopt); }

  Value text_;
};

/// What can never be loaded, and why.
class FailingProvider : public Provider {
 public:
  FailingProvider(std::string type, std::string why, std::shared_ptr<ShareLoads> loads,
                  std::size_t thing)
      : Provider(std::move(type), std::move(loads), thing), why_(std::move(why)) {}

 private:
  void load(LoadHandler handler) override { fail(why_, handler); }

  std::string why_;
};

using Loads = std::shared_ptr<ShareLoads>;
using Made = std::shared_ptr<NSItemProvider>;

Made makeForFile(const std::string& path, const std::string& name, const Loads& loads) {
  std::string absolute = absolutePath(path);
  std::string presumed = absolute == "/" ? translated("the root folder has no name of its own")
                                         : translated("it could not be copied");
  const std::size_t thing = loads->run->addFile(name, std::move(presumed), absolute);
  return std::make_shared<FileProvider>(std::move(absolute), loads, thing);
}

Made makeForFileURL(std::string_view url, const std::string& name, const Loads& loads) {
  if (auto path = pathOfFileURL(url)) return makeForFile(*path, *path, loads);
  const std::string why = translated("the URL does not name a file of this machine");
  return std::make_shared<FailingProvider>(kFileURL, why, loads, loads->run->add(name, why));
}

/// Whether following the link runs a program or opens a document that the link itself carries.
bool isActive(const NSURL& url) {
  return std::ranges::any_of(std::array{"javascript", "vbscript", "data"}, [&](const char* scheme) {
    return schemeIs(url.absoluteString(), scheme);
  });
}

Made makeForFetched(const FetchedFile& file, const std::string& url, const Loads& loads) {
  if (!file.path.empty()) return makeForFile(file.path, url, loads);
  const std::size_t thing = loads->run->add(url, file.reason);
  return std::make_shared<FailingProvider>(kFileURL, file.reason, loads, thing);
}

Made makeForLink(const std::string& text, const Loads& loads) {
  if (schemeIs(text, "file")) return makeForFileURL(text, text, loads);
  if (const auto file = loads->fetched(text)) return makeForFetched(*file, text, loads);
  const auto url = urlFromText(text);
  if (!url || !url->scheme() || isActive(*url)) return nullptr;
  if (url->isFileURL()) return makeForFileURL(url->absoluteString(), text, loads);
  return std::make_shared<LinkProvider>(
      *url, loads, loads->run->add(text, translated("there is not enough memory for it")));
}

Made makeForImage(std::string type, NSData data, const Loads& loads) {
  const std::size_t thing = loads->run->add(
      translated("picture {0}", std::to_string(++loads->pictures)), translated(kNoPicture));
  return std::make_shared<ImageProvider>(
      std::move(type), [data = Value(std::move(data))] { return data; }, "", loads, thing);
}

Made make(ShareRequest::File& file, const Loads& loads) {
  return makeForFile(file.path, file.path, loads);
}

Made make(ShareRequest::Link& link, const Loads& loads) { return makeForLink(link.url, loads); }

Made make(ShareRequest::ImageFile& image, const Loads& loads) {
  const std::string path = absolutePath(image.path);
  return std::make_shared<ImageProvider>(
      kUTTypeImage, [run = loads->run, path] { return Value(readRegularFile(run->placeOf(path))); },
      path + ": ", loads, loads->run->addFile(image.path, translated(kNoPicture), path));
}

Made make(ShareRequest::ImageData& image, const Loads& loads) {
  return makeForImage(kUTTypeImage, std::move(image.data), loads);
}

Made make(ShareRequest::TypedText& typed, const Loads& loads) {
  if (UTTypeConformsTo(typed.type, kUTTypeURL)) return makeForLink(typed.text, loads);
  if (UTTypeConformsTo(typed.type, kUTTypeImage)) {
    return makeForImage(typed.type, NSData(typed.text.begin(), typed.text.end()), loads);
  }
  loads->run->missNow(translated("an attachment of the type {0}", typed.type),
                      translated("only links, files and pictures are taken"));
  return std::make_shared<TextProvider>(typed.type, typed.text, loads);
}

}  // namespace

void SerialQueue::async(std::function<void()> job) {
  {
    std::lock_guard lock(state_->mutex);
    state_->jobs.push_back(std::move(job));
    if (std::exchange(state_->running, true)) return;
  }
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_HIGH, 0), [state = state_] {
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

std::shared_ptr<NSItemProvider> makeItemProvider(ShareRequest::Attachment& attachment,
                                                 const std::shared_ptr<ShareLoads>& loads) {
  return std::visit([&](auto& kind) { return make(kind, loads); }, attachment);
}

}  // namespace korvane
