#pragma once

#include <functional>
#include <mutex>
#include <utility>

#include "platform/detail/Translation.h"

namespace korvane {

/// Why nothing was shared where the person did not want it any more.
inline constexpr const char* kCancelled = translatable("it was cancelled");

/// Whether the person has asked for a share to be stopped: whoever shows a Cancel button calls
/// cancel(), whoever works looks or is called. Any thread may call.
class Cancellation {
 public:
  Cancellation() = default;
  Cancellation(const Cancellation&) = delete;
  Cancellation& operator=(const Cancellation&) = delete;

  /// Counts once: what comes after the first call does nothing. False where it is too late.
  bool cancel() {
    std::function<void()> handler;
    {
      const std::lock_guard lock(mutex_);
      if (expired_) return false;
      if (std::exchange(cancelled_, true)) return true;
      handler = std::exchange(handler_, nullptr);
    }
    if (handler) handler();
    return true;
  }

  /// From now on it is too late to cancel: what cannot be taken back begins. False where the person
  /// was quicker: then it must not begin.
  bool expire() {
    const std::lock_guard lock(mutex_);
    expired_ = !cancelled_;
    return expired_;
  }

  bool isCancelled() const {
    const std::lock_guard lock(mutex_);
    return cancelled_;
  }

  /// Has `handler` called once, by the thread that cancels; at once where that has happened. There
  /// is one handler: a later one takes the place of an earlier one, and an empty one takes it away.
  void onCancel(std::function<void()> handler) {
    {
      const std::lock_guard lock(mutex_);
      if (!cancelled_) {
        handler_ = std::move(handler);
        return;
      }
    }
    if (handler) handler();
  }

 private:
  mutable std::mutex mutex_;
  std::function<void()> handler_;
  bool cancelled_ = false;
  bool expired_ = false;
};

}  // namespace korvane
