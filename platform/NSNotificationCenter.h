#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Export.h"
#include "platform/Value.h"

namespace korvane {

/// An observation that ends when this goes, at the latest. May be moved, not copied; one thread at
/// a time uses it. An empty one observes nothing.
class KORVANE_EXPORT NSNotificationObservation {
 public:
  NSNotificationObservation() = default;
  NSNotificationObservation(NSNotificationObservation&&) noexcept = default;
  NSNotificationObservation& operator=(NSNotificationObservation&& other) noexcept;
  ~NSNotificationObservation() { end(); }
  /// Ends the observation now; a call that another thread has begun may still run.
  void end();

 private:
  friend class NSNotificationCenter;
  explicit NSNotificationObservation(std::function<void()> end) : end_(std::move(end)) {}
  std::function<void()> end_;
};

/// In-process notifications. Any thread may call.
class KORVANE_EXPORT NSNotificationCenter {
 public:
  /// What an observer gets: the notification's object is a value, absent where there is none.
  using Callback = std::function<void(std::string_view name, const Value& object)>;

  /// The process's centre.
  static NSNotificationCenter& defaultCenter();

  /// Has `callback` called for every notification of the name, as long as the result lives. The
  /// centre must outlive that. An empty callback is never called.
  [[nodiscard]] NSNotificationObservation addObserver(std::string_view name, Callback callback);
  /// The same until removeObserver is called. `observer` identifies it; it is never dereferenced.
  void addObserver(const void* observer, std::string_view name, Callback callback);
  /// Ends every observation of this observer; one that never registered is fine.
  void removeObserver(const void* observer);
  /// Calls every observer of the name, in the order of registration, on this thread, before it
  /// returns. Observers may add and remove observers: one that is removed, and so may be gone, is
  /// not called any more; one that is added is called from the next post on. What an observer
  /// throws passes to the caller, and the observers after it are not called.
  void postNotificationName(std::string_view name, const Value& object = {});
  /// Number of registrations of an observer.
  std::size_t observationCount(const void* observer) const;

 private:
  struct Observation {
    const void* observer;
    std::string name;
    Callback callback;
    std::atomic<bool> ended = false;
  };
  mutable std::mutex mutex_;
  std::vector<std::shared_ptr<Observation>> observations_;
};

}  // namespace korvane
