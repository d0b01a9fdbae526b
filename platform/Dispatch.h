#pragma once

#include <functional>
#include <memory>

#include "platform/Export.h"

namespace korvane {

// Priorities of the global queues.
inline constexpr long DISPATCH_QUEUE_PRIORITY_HIGH = 2;
inline constexpr long DISPATCH_QUEUE_PRIORITY_DEFAULT = 0;
inline constexpr long DISPATCH_QUEUE_PRIORITY_LOW = -2;
inline constexpr long DISPATCH_QUEUE_PRIORITY_BACKGROUND = -32768;

/// Runs jobs on other threads; a service of the Platform. Any thread may call.
class KORVANE_EXPORT DispatchQueue {
 public:
  virtual ~DispatchQueue() = default;
  /// The installed Platform's.
  static std::shared_ptr<DispatchQueue> installed();
  /// Queues a job, which must not be empty; returns at once. Jobs may run at the same time and in
  /// any order; none waits for another to end.
  virtual void async(long priority, std::function<void()> job) = 0;
};

/// A global queue of the installed Platform.
struct KORVANE_EXPORT GlobalQueue {
  long priority;
};
/// `flags` is reserved and must be 0.
KORVANE_EXPORT GlobalQueue dispatch_get_global_queue(long priority, unsigned long flags);
KORVANE_EXPORT void dispatch_async(GlobalQueue queue, std::function<void()> job);

/// A pool of threads, made as they are needed up to a limit for each priority, so that a job that
/// waits on others of another priority cannot starve them.
///
/// A job that ends by an exception is logged (the exception's kind, not its text, which could hold
/// anything) and counts as finished; the thread goes on with the next.
class KORVANE_EXPORT ThreadPool : public DispatchQueue {
 public:
  /// `threads` per priority, at least 1; 0 means one for each processor, at least 2.
  explicit ThreadPool(unsigned threads = 0);
  /// Waits for the jobs that were queued and those that they queue. When a job of this very pool
  /// lets go of it last, it is not waited for: the jobs still run, on threads left to themselves.
  ~ThreadPool() override;
  /// Throws, and queues nothing, when not even one thread can be started: std::system_error, or
  /// std::bad_alloc.
  void async(long priority, std::function<void()> job) override;
  /// Waits until no job runs or is queued. Not to be called from a job.
  void waitUntilIdle();

 private:
  struct State;
  std::shared_ptr<State> state_;  // the threads hold it too
};

}  // namespace korvane
