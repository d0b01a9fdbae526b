#include "linux/detail/LowPriority.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace korvane {
namespace {

constexpr int kNice = 5;

}  // namespace

void lowerThreadPriority() {
  // To Linux a thread is what others call a process here.
  errno = 0;
  const int nice = ::getpriority(PRIO_PROCESS, 0);
  if (errno == 0 && nice < kNice) (void)::setpriority(PRIO_PROCESS, 0, kNice);
  const long disk = ::syscall(SYS_ioprio_get, DiskPriority::kWhoProcess, 0);
  if (disk >= 0 && DiskPriority::classOf(disk) != DiskPriority::kIdle) {
    (void)::syscall(SYS_ioprio_set, DiskPriority::kWhoProcess, 0, DiskPriority::kLowestBestEffort);
  }
}

LowPriorityQueue::LowPriorityQueue(std::shared_ptr<DispatchQueue> queue)
    : queue_(std::move(queue)) {}

void LowPriorityQueue::async(long priority, std::function<void()> job) {
  if (priority != DISPATCH_QUEUE_PRIORITY_DEFAULT) {
    queue_->async(priority, std::move(job));
    return;
  }
  queue_->async(priority, [job = std::move(job)] {
    static thread_local bool isLow = false;
    if (!std::exchange(isLow, true)) lowerThreadPriority();
    job();
  });
}

}  // namespace korvane
