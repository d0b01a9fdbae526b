#include "host/WatchedServices.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/PreparedImages.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

/// Passes jobs on with the run that they are queued for.
class WatchedQueue : public DispatchQueue {
 public:
  explicit WatchedQueue(std::shared_ptr<DispatchQueue> queue) : queue_(std::move(queue)) {}

  void async(long priority, std::function<void()> job) override {
    auto run = RunScope::current();
    if (!run) {
      queue_->async(priority, std::move(job));
      return;
    }
    const auto ending =
        std::make_shared<Ending>(run, priority == DISPATCH_QUEUE_PRIORITY_BACKGROUND);
    queue_->async(priority, [ending, job = std::move(job)]() mutable {
      const RunScope scope(ending->run, ending->isBackground);
      const std::function<void()> running = std::move(job);  // gone before it counts as ended
      try {
        running();
      } catch (const std::bad_alloc&) {
        if (ending->isBackground)
          ending->run->launchFailed(translated("there is not enough memory"));
        throw;
      }
    });
  }

 private:
  /// The job counts as ended when the queue has let go of it, however it ended.
  struct Ending {
    Ending(std::shared_ptr<RunWatch> watch, bool background)
        : run(std::move(watch)), isBackground(background) {
      run->jobQueued(isBackground);
    }
    ~Ending() { run->jobEnded(isBackground); }
    Ending(const Ending&) = delete;
    Ending& operator=(const Ending&) = delete;
    const std::shared_ptr<RunWatch> run;
    const bool isBackground;
  };
  std::shared_ptr<DispatchQueue> queue_;
};

class WatchedClock : public Clock {
 public:
  explicit WatchedClock(std::shared_ptr<Clock> clock) : clock_(std::move(clock)) {}
  NSDate now() override { return clock_->now(); }
  void sleep(double seconds) override {
    const auto run = RunScope::isBackgroundJob() ? RunScope::current() : nullptr;
    if (run) run->fallAsleep();
    clock_->sleep(seconds);
    if (run) run->wakeUp();
  }

 private:
  std::shared_ptr<Clock> clock_;
};

/// Notes the application and its answer.
class WatchedWorkspace : public NSWorkspace {
 public:
  explicit WatchedWorkspace(std::shared_ptr<NSWorkspace> workspace)
      : workspace_(std::move(workspace)) {}

  bool openURLs(const std::vector<NSURL>& urls, std::string_view application,
                unsigned options) override {
    const auto run = RunScope::current();
    if (!run) return workspace_->openURLs(urls, application, options);
    return run->open(urls, application, options, *workspace_);
  }

 private:
  std::shared_ptr<NSWorkspace> workspace_;
};

/// What an error says beside the path, which the person knows the thing by.
std::string reasonOf(const std::optional<NSError>& error, std::string_view path) {
  if (!error || error->localizedDescription.empty()) return translated("it could not be written");
  std::string_view text = error->localizedDescription;
  if (text.starts_with(path) && text.substr(path.size()).starts_with(": ")) {
    text.remove_prefix(path.size() + 2);
  }
  return std::string(text);
}

/// Whether the next entry of a folder would fail the same way.
bool isEverybodys(const NSError& error) {
  static constexpr int kCodes[] = {ENOSPC, EDQUOT, EROFS, ENOMEM, EMFILE, ENFILE};
  return error.domain == NSPOSIXErrorDomain &&
         std::ranges::find(kCodes, error.code) != std::end(kCodes);
}

/// One entry of a folder that cannot be copied is left out and noted; the rest is attached.
class LeavingOut : public NSFileManagerDelegate {
 public:
  bool fileManager(NSFileManager&, const NSError& shouldProceedAfterError,
                   std::string_view copyingItemAtPath, std::string_view) override {
    const auto run = RunScope::current();
    return run && !isEverybodys(shouldProceedAfterError) &&
           run->leaveOut(run->knownPath(copyingItemAtPath),
                         reasonOf(shouldProceedAfterError, copyingItemAtPath));
  }
};

/// Notes why things could not be staged, and keeps out of the message what was staged too late.
class WatchedFiles : public NSFileManager {
 public:
  explicit WatchedFiles(std::shared_ptr<NSFileManager> files) : files_(std::move(files)) {
    files_->setDelegate(std::make_shared<LeavingOut>());
  }
  void setDelegate(std::shared_ptr<NSFileManagerDelegate> delegate) override {
    files_->setDelegate(std::move(delegate));
  }

  std::optional<NSURL> containerURLForSecurityApplicationGroupIdentifier(
      std::string_view group) override {
    return files_->containerURLForSecurityApplicationGroupIdentifier(group);
  }
  bool removeItemAtURL(const NSURL& url, std::optional<NSError>& error) override {
    return files_->removeItemAtURL(url, error);
  }
  bool createDirectoryAtURL(const NSURL& url, bool withIntermediateDirectories,
                            std::optional<NSError>& error) override {
    if (files_->createDirectoryAtURL(url, withIntermediateDirectories, error)) return true;
    std::string path = url.fileSystemRepresentation();
    while (path.ends_with('/')) path.pop_back();
    if (const auto run = RunScope::current()) run->folderFailed(path, reasonOf(error, path));
    return false;
  }
  bool copyItemAtPath(std::string_view source, std::string_view destination,
                      std::optional<NSError>& error) override {
    const auto run = RunScope::current();
    const std::string from = run ? run->sourceOf(source) : std::string(source);
    const bool done = files_->copyItemAtPath(from, destination, error);
    if (!done && error && error->localizedDescription.starts_with(from)) {
      error->localizedDescription.replace(0, from.size(), source);
    }
    return watch(done, source, destination, error);
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
    return watch(files_->writeDataAtomically(data, path, error), path, path, error);
  }

 private:
  bool watch(bool done, std::string_view source, std::string_view destination,
             std::optional<NSError>& error) {
    const auto run = RunScope::current();
    if (!run) return done;
    if (!done) {
      // Without its folder all that the step itself can tell is that there is none.
      const auto failure = run->folderFailure(destination);
      const bool lacksFolder =
          failure && !files_->directoryExistsAtPath(destination.substr(0, destination.rfind('/')));
      run->blame(lacksFolder ? translated("the staging folder cannot be used: {0}", *failure)
                             : reasonOf(error, source));
      return false;
    }
    if (run->commit()) return true;
    std::optional<NSError> ignored;
    files_->removeItemAtURL(NSURL::fileURLWithPath(destination), ignored);
    error = NSError::withErrno(ETIMEDOUT, std::string(source));
    return false;
  }

  std::shared_ptr<NSFileManager> files_;
};

class WatchedCoordinator : public NSFileCoordinator {
 public:
  explicit WatchedCoordinator(std::shared_ptr<NSFileCoordinator> coordinator)
      : coordinator_(std::move(coordinator)) {}

  void coordinateWritingItemAtURL(const std::optional<NSURL>& url,
                                  NSFileCoordinatorWritingOptions options,
                                  std::optional<NSError>& error,
                                  const std::function<void(const NSURL&)>& accessor) override {
    coordinator_->coordinateWritingItemAtURL(url, options, error, accessor);
    if (!error) return;
    if (const auto run = RunScope::current()) {
      run->blame(url ? translated("the staging folder cannot be used: {0}", reasonOf(error, {}))
                     : translated("there is no container for attachments"));
    }
  }

 private:
  std::shared_ptr<NSFileCoordinator> coordinator_;
};

/// Whatever cannot be put into the message is logged as an error by who tried.
class WatchedLog : public LogSink {
 public:
  explicit WatchedLog(std::shared_ptr<LogSink> log) : log_(std::move(log)) {}
  void write(std::string_view line) noexcept override {
    if (line.starts_with('[') && line.substr(1).starts_with(kErrorMark)) {
      if (const auto run = RunScope::current()) run->errorLogged();
    }
    log_->write(line);
  }

 private:
  std::shared_ptr<LogSink> log_;
};

}  // namespace

Platform watchedServices(Platform services) {
  services.queue = std::make_shared<WatchedQueue>(std::move(services.queue));
  services.clock = std::make_shared<WatchedClock>(std::move(services.clock));
  services.workspace = std::make_shared<WatchedWorkspace>(std::move(services.workspace));
  services.fileManager = std::make_shared<WatchedFiles>(std::move(services.fileManager));
  services.fileCoordinator =
      std::make_shared<WatchedCoordinator>(std::move(services.fileCoordinator));
  services.images = std::make_shared<PreparedImages>(std::move(services.images));
  services.log = std::make_shared<WatchedLog>(std::move(services.log));
  return services;
}

Platform watchedLinuxServices(LinuxOptions options) {
  options.launchFailure = [](std::string_view reason) {
    if (const auto run = RunScope::current()) run->launchFailed(reason);
  };
  return watchedServices(linuxPlatform(options));
}

}  // namespace korvane
