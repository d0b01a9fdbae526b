#pragma once

#include <memory>

#include "platform/Dispatch.h"
#include "platform/Export.h"

namespace korvane {

/// A priority of the kernel's disk scheduler (ioprio_set(2)): three bits of class above thirteen of
/// level. It is written out here since the kernel's own header, linux/ioprio.h, is not C++ in every
/// version: some of its parameters are called "class".
struct DiskPriority {
  static constexpr int kWhoProcess = 1;
  static constexpr long kBestEffort = 2;
  static constexpr long kIdle = 3;
  static constexpr long kLowestBestEffort = kBestEffort << 13 | 7;
  static constexpr long classOf(long priority) { return priority >> 13 & 7; }
};

/// Gives the calling thread, and the processes that it starts, a lower priority for good: nice 5,
/// and of the disk's best-effort class the lowest. One that is lower already stays as it is.
KORVANE_EXPORT void lowerThreadPriority();

/// Runs the jobs of default priority, which copy and decode, on threads of lower priority, so that
/// a large share does not slow down what the person goes on doing. Jobs of background priority have
/// a share's course and its launching in them: a program that is started inherits the priority of
/// the thread that starts it, so theirs stays. Any thread may call.
class KORVANE_EXPORT LowPriorityQueue : public DispatchQueue {
 public:
  /// The queue must run the jobs of each priority on threads of their own.
  explicit LowPriorityQueue(std::shared_ptr<DispatchQueue> queue);
  void async(long priority, std::function<void()> job) override;

 private:
  std::shared_ptr<DispatchQueue> queue_;
};

}  // namespace korvane
