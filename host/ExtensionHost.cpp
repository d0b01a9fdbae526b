#include "host/ExtensionHost.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "extension/ExtensionUtilities.h"
#include "linux/detail/UnfinishedNames.h"
#include "platform/NSFileManager.h"
#include "share/ShareViewController.h"

namespace korvane {
namespace {

/// Passes jobs on and knows which of them have ended.
class WatchedQueue : public DispatchQueue {
 public:
  explicit WatchedQueue(std::shared_ptr<DispatchQueue> queue) : queue_(std::move(queue)) {}

  void async(long priority, std::function<void()> job) override {
    const bool background = priority == DISPATCH_QUEUE_PRIORITY_BACKGROUND;
    {
      std::lock_guard lock(counts_->mutex);
      ++counts_->all;
      if (background) ++counts_->background;
    }
    queue_->async(priority, [counts = counts_, background, job = std::move(job)]() mutable {
      const Ending ending(*counts, background);              // however the job ends
      const std::function<void()> running = std::move(job);  // gone before it counts as ended
      running();
    });
  }

  void waitForBackground() {
    std::unique_lock lock(counts_->mutex);
    counts_->changed.wait(lock, [&] { return counts_->background == 0; });
  }

  bool isBusy() const {
    std::lock_guard lock(counts_->mutex);
    return counts_->all > 0;
  }

 private:
  struct Counts {
    std::mutex mutex;
    std::condition_variable changed;
    std::size_t all = 0;
    std::size_t background = 0;
  };
  class Ending {
   public:
    Ending(Counts& counts, bool background) : counts_(counts), background_(background) {}
    ~Ending() {
      std::lock_guard lock(counts_.mutex);
      --counts_.all;
      if (background_ && --counts_.background == 0) counts_.changed.notify_all();
    }
    Ending(const Ending&) = delete;
    Ending& operator=(const Ending&) = delete;

   private:
    Counts& counts_;
    bool background_;
  };
  std::shared_ptr<DispatchQueue> queue_;
  std::shared_ptr<Counts> counts_ = std::make_shared<Counts>();
};

/// Remembers the opening and, at its moment, what of the share was delivered.
class WatchedWorkspace : public NSWorkspace {
 public:
  WatchedWorkspace(std::shared_ptr<NSWorkspace> workspace, std::shared_ptr<ShareContext> context,
                   HostMode mode)
      : workspace_(std::move(workspace)), context_(std::move(context)), mode_(mode) {}

  bool openURLs(const std::vector<NSURL>& urls, std::string_view application,
                unsigned options) override {
    const std::size_t links = context_->linksDelivered();
    const bool accepted =
        mode_ == HostMode::dryRun || workspace_->openURLs(urls, application, options);
    std::lock_guard lock(mutex_);
    linksDelivered_ = links;
    opening_ = Opening{urls, std::string(application), options, accepted};
    return accepted;
  }

  ShareOutcome outcome() const {
    std::lock_guard lock(mutex_);
    ShareOutcome outcome;
    outcome.opening = opening_;
    outcome.attachments = context_->attachmentCount();
    outcome.missing = outcome.attachments;
    outcome.empty = context_->hasContent();
    if (!opening_) return outcome;
    std::size_t delivered = linksDelivered_;
    for (const NSURL& url : opening_->urls) {
      delivered += attachmentCountOfCommand(url);
      if (!url.absoluteString().ends_with('?')) outcome.empty = false;
    }
    outcome.missing -= std::min(outcome.missing, delivered);
    return outcome;
  }

 private:
  std::shared_ptr<NSWorkspace> workspace_;
  std::shared_ptr<ShareContext> context_;
  HostMode mode_;
  mutable std::mutex mutex_;
  std::optional<Opening> opening_;
  std::size_t linksDelivered_ = 0;
};

}  // namespace

std::size_t attachmentCountOfCommand(const NSURL& url) {
  // Keys and values are percent-encoded, so the marks below stand for themselves alone.
  constexpr std::string_view kKey = "attachment_";
  const std::string& text = url.absoluteString();
  std::size_t count = 0;
  for (std::size_t at = text.find('?'); at != std::string::npos; at = text.find('&', at + 1)) {
    if (std::string_view(text).substr(at + 1, kKey.size()) == kKey) ++count;
  }
  return count;
}

void removeUnfinishedAttachments() {
  const auto data = ExtensionUtilities::GroupDataPath();
  if (!data) return;
  const NSURL staging = data->URLByAppendingPathComponent("Share");
  const auto files = NSFileManager::defaultManager();
  for (const std::string& name :
       files->contentsOfDirectoryAtPath(staging.fileSystemRepresentation())) {
    if (!isUnfinishedName(name)) continue;
    std::optional<NSError> ignored;  // its load may have been quicker
    files->removeItemAtURL(staging.URLByAppendingPathComponent(name), ignored);
  }
}

ShareOutcome runShareExtension(const std::shared_ptr<ShareContext>& context, Platform services,
                               HostMode mode) {
  const auto queue = std::make_shared<WatchedQueue>(services.queue);
  const auto workspace = std::make_shared<WatchedWorkspace>(services.workspace, context, mode);
  services.queue = queue;
  services.workspace = workspace;
  Platform::install(std::move(services));
  {
    ShareViewController controller;
    controller.setExtensionContext(context);
    controller.loadViewIfNeeded();
    queue->waitForBackground();
  }
  ShareOutcome outcome = workspace->outcome();
  outcome.busy = queue->isBusy();
  return outcome;
}

}  // namespace korvane
