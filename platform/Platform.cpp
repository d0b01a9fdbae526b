#include "platform/Platform.h"

#include <cerrno>
#include <cstdio>
#include <mutex>
#include <string>
#include <utility>

namespace korvane {
namespace {

class NoFiles : public NSFileManager {
 public:
  std::optional<NSURL> containerURLForSecurityApplicationGroupIdentifier(
      std::string_view) override {
    return std::nullopt;
  }
  bool removeItemAtURL(const NSURL&, std::optional<NSError>& error) override {
    return refuse(error);
  }
  bool createDirectoryAtURL(const NSURL&, bool, std::optional<NSError>& error) override {
    return refuse(error);
  }
  bool copyItemAtPath(std::string_view, std::string_view, std::optional<NSError>& error) override {
    return refuse(error);
  }
  bool fileExistsAtPath(std::string_view) override { return false; }
  bool directoryExistsAtPath(std::string_view) override { return false; }
  bool writeDataAtomically(const NSData&, std::string_view,
                           std::optional<NSError>& error) override {
    return refuse(error);
  }

 private:
  static bool refuse(std::optional<NSError>& error) {
    error = NSError::withErrno(ENOSYS);
    return false;
  }
};

class NoCoordination : public NSFileCoordinator {
 public:
  void coordinateWritingItemAtURL(const std::optional<NSURL>&, NSFileCoordinatorWritingOptions,
                                  std::optional<NSError>& error,
                                  const std::function<void(const NSURL&)>&) override {
    error = NSError::withErrno(ENOSYS);
  }
};

class NoPropertyLists : public PropertyListReader {
 public:
  std::optional<List> arrayWithContentsOfURL(const NSURL&) override { return std::nullopt; }
};

class NoImages : public ImageCodec {
 public:
  std::shared_ptr<const Bitmap> decode(const NSData&, std::string* why) override {
    if (why != nullptr) *why = "no pictures can be decoded here";
    return nullptr;
  }
  std::optional<NSData> encode(const Bitmap&, NSBitmapImageFileType, EncodingEffort) override {
    return std::nullopt;
  }
};

class NoHTML : public HTMLReader {
 public:
  std::optional<HTMLText> read(const NSData&, std::string_view) override { return std::nullopt; }
};

class NoDates : public DateFormatterMaker {
 public:
  std::shared_ptr<NSDateFormatter> formatter(const NSDateFormat&) override {
    class NoFormat : public NSDateFormatter {
     public:
      std::string stringFromDate(NSDate) override { return {}; }
      std::optional<NSDate> dateFromString(std::string_view) override { return std::nullopt; }
    };
    return std::make_shared<NoFormat>();
  }
};

class NoLinks : public NSDataDetector {
 public:
  std::vector<NSTextCheckingResult> matchesInString(std::string_view) override { return {}; }
};

class NoWorkspace : public NSWorkspace {
 public:
  bool openURLs(const std::vector<NSURL>&, std::string_view, unsigned) override { return false; }
};

class NoNotifications : public NSUserNotificationCenter {
 public:
  NSUserNotificationDelivery deliverNotification(const NSUserNotification&) override {
    return NSUserNotificationDelivery::notShown;
  }
  void removeDeliveredNotification(std::string_view) override {}
};

class StandardError : public LogSink {
 public:
  void write(std::string_view line) noexcept override {
    std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
  }
};

struct Installed {
  std::mutex mutex;
  std::shared_ptr<const Platform> platform = std::make_shared<Platform>();
};

Installed& installed() {
  static auto* installed = new Installed;  // never destroyed: late threads may still log
  return *installed;
}

}  // namespace

Platform::Platform()
    : bundle(std::make_shared<EmptyBundle>()),
      fileManager(std::make_shared<NoFiles>()),
      fileCoordinator(std::make_shared<NoCoordination>()),
      propertyLists(std::make_shared<NoPropertyLists>()),
      images(std::make_shared<NoImages>()),
      html(std::make_shared<NoHTML>()),
      dates(std::make_shared<NoDates>()),
      links(std::make_shared<NoLinks>()),
      workspace(std::make_shared<NoWorkspace>()),
      notifications(std::make_shared<NoNotifications>()),
      log(std::make_shared<StandardError>()),
      clock(std::make_shared<SystemClock>()),
      queue(std::make_shared<ThreadPool>()) {}

std::shared_ptr<const Platform> Platform::current() {
  Installed& slot = installed();
  std::lock_guard lock(slot.mutex);
  return slot.platform;
}

void Platform::install(Platform platform) {
  const auto fill = [&](auto... service) {
    if ((... && (platform.*service != nullptr))) return;
    const Platform plain;
    ((platform.*service = platform.*service ? platform.*service : plain.*service), ...);
  };
  fill(&Platform::bundle, &Platform::fileManager, &Platform::fileCoordinator,
       &Platform::propertyLists, &Platform::images, &Platform::html, &Platform::dates,
       &Platform::links, &Platform::workspace, &Platform::notifications, &Platform::log,
       &Platform::clock, &Platform::queue);
  auto next = std::make_shared<const Platform>(std::move(platform));
  Installed& slot = installed();
  std::lock_guard lock(slot.mutex);
  slot.platform.swap(next);
}

std::shared_ptr<NSBundle> NSBundle::mainBundle() { return Platform::current()->bundle; }

std::shared_ptr<NSFileManager> NSFileManager::defaultManager() {
  return Platform::current()->fileManager;
}

std::shared_ptr<NSFileCoordinator> NSFileCoordinator::coordinator() {
  return Platform::current()->fileCoordinator;
}

std::shared_ptr<NSWorkspace> NSWorkspace::sharedWorkspace() {
  return Platform::current()->workspace;
}

std::shared_ptr<NSUserNotificationCenter>
NSUserNotificationCenter::defaultUserNotificationCenter() {
  return Platform::current()->notifications;
}

std::shared_ptr<ImageCodec> ImageCodec::installed() { return Platform::current()->images; }
std::shared_ptr<HTMLReader> HTMLReader::installed() { return Platform::current()->html; }
std::shared_ptr<DateFormatterMaker> DateFormatterMaker::installed() {
  return Platform::current()->dates;
}
std::shared_ptr<NSDataDetector> NSDataDetector::installed() { return Platform::current()->links; }
std::shared_ptr<LogSink> LogSink::installed() { return Platform::current()->log; }
std::shared_ptr<Clock> Clock::installed() { return Platform::current()->clock; }
std::shared_ptr<DispatchQueue> DispatchQueue::installed() { return Platform::current()->queue; }

std::optional<List> arrayWithContentsOfURL(const NSURL& url) {
  return Platform::current()->propertyLists->arrayWithContentsOfURL(url);
}

Value EmptyBundle::objectForInfoDictionaryKey(std::string_view) { return {}; }

std::string EmptyBundle::localizedStringForKey(std::string_view key, std::string_view value,
                                               std::string_view) {
  return std::string(value.empty() || key.empty() ? key : value);
}

bool EmptyBundle::loadNibNamed(std::string_view) { return true; }

}  // namespace korvane
