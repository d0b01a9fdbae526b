#pragma once

#include <condition_variable>
#include <mutex>

namespace korvane::testing {

/// Threads wait at it until a test opens it.
class Gate {
 public:
  void open() {
    const std::lock_guard lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }
  void wait() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return open_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_ = false;
};

}  // namespace korvane::testing
