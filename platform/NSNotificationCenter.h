#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"
#include "platform/Value.h"

namespace korvane {

/// In-process notifications. Any thread may call.
class KORVANE_EXPORT NSNotificationCenter {
 public:
  /// What an observer gets. `object` points to whatever the notification's definition says.
  using Callback = std::function<void(std::string_view name, const void* object)>;

  /// The process's centre.
  static NSNotificationCenter& defaultCenter();

  /// Has `callback` called for every notification of the name. `observer` identifies it to
  /// removeObserver; it is never dereferenced.
  void addObserver(const void* observer, std::string_view name, Callback callback);
  /// Ends every observation of this observer; one that never registered is fine.
  void removeObserver(const void* observer);
  /// Calls every observer of the name, in the order of registration, on this thread, before it
  /// returns. Observers may add and remove observers: one that is removed, and so may be gone, is
  /// not called any more; one that is added is called from the next post on. What an observer
  /// throws passes to the caller, and the observers after it are not called.
  void postNotificationName(std::string_view name, const void* object);
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
