#include "host/RunWatch.h"

#include <algorithm>
#include <iterator>

#include "platform/detail/Translation.h"

namespace korvane {

/// One call of a load handler.
struct RunWatch::Delivery {
  std::size_t thing = 0;
  bool committed = false;
  bool settled = false;  // what became of the thing is known already
  bool failed = false;
  std::string reason{};
  std::vector<MissingThing> leftOut{};
};

/// What the calling thread does.
struct RunWatch::Work {
  std::shared_ptr<RunWatch> run;
  bool isBackgroundJob = false;
  Delivery* delivery = nullptr;
};

thread_local RunWatch::Work RunWatch::work_;

std::size_t RunWatch::add(std::string name, std::string presumed) {
  std::lock_guard lock(mutex_);
  things_.push_back({std::move(name), std::move(presumed)});
  return things_.size() - 1;
}

std::size_t RunWatch::addFile(std::string name, std::string presumed, const std::string& path) {
  files_.push_back(path);
  const std::size_t thing = add(std::move(name), std::move(presumed));
  const std::lock_guard lock(mutex_);
  things_[thing].path = path;
  return thing;
}

void RunWatch::setPreparing(std::string text) {
  {
    const std::lock_guard lock(mutex_);
    preparing_ = std::move(text);
  }
  tellProgress();
}

void RunWatch::tellProgress() const {
  if (!hooks_.progress) return;
  std::string text;
  double part = -1;
  {
    const std::lock_guard lock(mutex_);
    if (closed_ || preparing_.empty()) return;
    text = preparing_;
    const auto settled = std::ranges::count_if(
        things_, [](const Thing& thing) { return thing.state != State::onItsWay; });
    // Of one thing nobody knows how much is done.
    if (things_.size() > 1)
      part = static_cast<double>(settled) / static_cast<double>(things_.size());
  }
  hooks_.progress(text, part);
}

std::string RunWatch::sourceOf(std::string_view path) const {
  const auto found = opened_.find(path);
  return found == opened_.end() ? std::string(path) : found->second;
}

std::string RunWatch::knownPath(std::string_view source) const {
  for (const auto& [path, opened] : opened_) {
    if (!source.starts_with(opened)) continue;
    const std::string_view inside = source.substr(opened.size());
    if (inside.empty() || inside.starts_with('/')) return path + std::string(inside);
  }
  return std::string(source);
}

void RunWatch::giveUp(const std::string& reason) {
  std::lock_guard lock(mutex_);
  closed_ = true;
  for (Thing& thing : things_) {
    thing.state = State::missing;
    thing.reason = reason;
  }
}

void RunWatch::miss(std::string item, std::string reason) {
  std::lock_guard lock(mutex_);
  others_.push_back({std::move(item), std::move(reason)});
}

void RunWatch::missNow(std::string item, std::string reason) {
  MissingThing missing{std::move(item), std::move(reason), static_cast<bool>(hooks_.tell)};
  if (hooks_.tell) hooks_.tell(lineOf(missing));
  std::lock_guard lock(mutex_);
  others_.push_back(std::move(missing));
}

void RunWatch::fail(std::size_t thing, std::string reason, const std::function<void()>& handler) {
  {
    std::lock_guard lock(mutex_);
    if (closed_) return;
    things_[thing].reason = std::move(reason);
    things_[thing].state = State::missing;
  }
  Delivery delivery{.thing = thing, .settled = true};
  run(delivery, handler);
}

void RunWatch::deliver(std::size_t thing, const std::function<void()>& handler) {
  Delivery delivery{.thing = thing};
  {
    std::unique_lock lock(mutex_);
    if (!commitLocked(lock, delivery)) return;
  }
  run(delivery, handler);
}

void RunWatch::deliverStaged(std::size_t thing, const std::function<void()>& handler) {
  Delivery delivery{.thing = thing};
  run(delivery, handler);
}

void RunWatch::run(Delivery& delivery, const std::function<void()>& handler) {
  struct Ending {
    RunWatch& watch;
    Delivery& delivery;
    ~Ending() {
      work_.delivery = nullptr;
      std::lock_guard lock(watch.mutex_);
      Thing& thing = watch.things_[delivery.thing];
      if (delivery.committed) {
        --watch.committing_;
        watch.changed_.notify_all();
      }
      if (delivery.settled) return;
      thing.state = delivery.committed && !delivery.failed ? State::delivered : State::missing;
      if (!delivery.reason.empty()) thing.reason.swap(delivery.reason);
      if (thing.state != State::delivered) return;
      std::ranges::move(delivery.leftOut, std::back_inserter(watch.others_));
    }
  };
  {
    const Ending ending{*this, delivery};
    work_.delivery = &delivery;
    handler();
  }
  tellProgress();
}

// What is committed while the background job sleeps is in the message before it looks again: it
// waits for the delivery's end.
bool RunWatch::commitLocked(std::unique_lock<std::mutex>& lock, Delivery& delivery) {
  if (delivery.committed) return true;
  changed_.wait(lock, [&] { return closed_ || !awake_; });
  if (closed_) {
    delivery.settled = true;
    return false;
  }
  delivery.committed = true;
  ++committing_;
  return true;
}

bool RunWatch::commit() {
  if (!work_.delivery) return true;
  std::unique_lock lock(mutex_);
  return commitLocked(lock, *work_.delivery);
}

void RunWatch::blame(std::string_view reason) {
  if (!work_.delivery) return;
  work_.delivery->failed = true;
  if (work_.delivery->reason.empty()) work_.delivery->reason = reason;
}

bool RunWatch::leaveOut(std::string item, std::string reason) {
  if (!work_.delivery) return false;
  work_.delivery->leftOut.push_back({std::move(item), std::move(reason)});
  return true;
}

void RunWatch::folderFailed(std::string path, std::string reason) {
  const std::lock_guard lock(mutex_);
  failedFolder_ = {std::move(path), std::move(reason)};
}

std::optional<std::string> RunWatch::folderFailure(std::string_view pathInside) const {
  const std::lock_guard lock(mutex_);
  const auto& [path, reason] = failedFolder_;
  const std::size_t slash = pathInside.rfind('/');
  if (path.empty() || slash == pathInside.npos || pathInside.substr(0, slash) != path) {
    return std::nullopt;
  }
  return reason;
}

void RunWatch::errorLogged() noexcept {
  if (work_.delivery) {
    work_.delivery->failed = true;
  } else if (work_.isBackgroundJob) {
    std::lock_guard lock(mutex_);
    if (!closed_) textFailed_ = true;
  }
}

void RunWatch::jobQueued(bool isBackground) {
  std::lock_guard lock(mutex_);
  ++jobs_;
  if (isBackground) ++backgroundJobs_;
}

void RunWatch::jobEnded(bool isBackground) {
  std::lock_guard lock(mutex_);
  --jobs_;
  if (!isBackground) return;
  --backgroundJobs_;
  closed_ = true;
  changed_.notify_all();
}

void RunWatch::fallAsleep() {
  std::lock_guard lock(mutex_);
  awake_ = false;
  changed_.notify_all();
}

void RunWatch::wakeUp() {
  std::unique_lock lock(mutex_);
  awake_ = true;
  changed_.wait(lock, [&] { return committing_ == 0; });
}

bool RunWatch::open(const std::vector<NSURL>& urls, std::string_view application, unsigned options,
                    NSWorkspace& workspace) {
  {
    std::lock_guard lock(mutex_);
    closed_ = true;
    changed_.notify_all();
    launch_ = Launch{std::string(application), false};
  }
  bool accepted = true;
  if (hooks_.cancellation && !hooks_.cancellation->expire()) {
    launchFailed(translated(kCancelled));
    accepted = false;
  } else if (hooks_.dryRun) {
    hooks_.dryRun(urls, application, options);
  } else if (const auto reason = opening_.before ? opening_.before() : std::nullopt) {
    launchFailed(*reason);
    accepted = false;
  } else {
    if (hooks_.progress) hooks_.progress(translated("Waiting for the mail client…"), -1);
    accepted = workspace.openURLs(urls, application, options);
    if (opening_.after) opening_.after(accepted, failure());
  }
  std::lock_guard lock(mutex_);
  launch_->accepted = accepted;
  return accepted;
}

void RunWatch::launchFailed(std::string_view reason) {
  std::lock_guard lock(mutex_);
  failure_ = reason;
}

void RunWatch::waitForBackground() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return backgroundJobs_ == 0 || cancelled_; });
}

void RunWatch::cancel() {
  const std::lock_guard lock(mutex_);
  cancelled_ = true;
  changed_.notify_all();
}

bool RunWatch::isBusy() const {
  std::lock_guard lock(mutex_);
  return jobs_ > 0;
}

std::optional<RunWatch::Launch> RunWatch::launch() const {
  std::lock_guard lock(mutex_);
  return launch_;
}

std::string RunWatch::failure() const {
  std::lock_guard lock(mutex_);
  return failure_;
}

std::vector<std::string> RunWatch::namesDelivered() const {
  std::lock_guard lock(mutex_);
  std::vector<std::string> names;
  for (const Thing& thing : things_) {
    if (thing.state == State::delivered) names.push_back(thing.name);
  }
  return names;
}

std::vector<MissingThing> RunWatch::missing() const {
  std::lock_guard lock(mutex_);
  std::vector<MissingThing> missing;
  for (const Thing& thing : things_) {
    if (thing.state == State::missing)
      missing.push_back({thing.name, thing.reason, false, thing.path});
    if (thing.state == State::onItsWay) {
      missing.push_back(
          {thing.name, translated("it was not ready within ten seconds"), false, thing.path});
    }
  }
  missing.insert(missing.end(), others_.begin(), others_.end());
  return missing;
}

bool RunWatch::textFailed() const {
  std::lock_guard lock(mutex_);
  return textFailed_;
}

RunScope::RunScope(std::shared_ptr<RunWatch> run, bool isBackgroundJob)
    : run_(std::exchange(RunWatch::work_.run, std::move(run))),
      isBackgroundJob_(std::exchange(RunWatch::work_.isBackgroundJob, isBackgroundJob)) {}

RunScope::~RunScope() {
  RunWatch::work_.run = std::move(run_);
  RunWatch::work_.isBackgroundJob = isBackgroundJob_;
}

std::shared_ptr<RunWatch> RunScope::current() { return RunWatch::work_.run; }

bool RunScope::isBackgroundJob() { return RunWatch::work_.isBackgroundJob; }

}  // namespace korvane
