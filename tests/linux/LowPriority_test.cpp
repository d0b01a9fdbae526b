#include "linux/detail/LowPriority.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "linux/LinuxPlatform.h"
#include "support/ChildProcess.h"

namespace korvane {
namespace {

struct Priority {
  int nice = ::getpriority(PRIO_PROCESS, 0);
  long disk = ::syscall(SYS_ioprio_get, DiskPriority::kWhoProcess, 0);
  friend bool operator==(const Priority&, const Priority&) = default;
};

constexpr long kLowest = 2 << 13 | 7;  // of the eight levels of best effort

bool setDisk(long value) {
  return ::syscall(SYS_ioprio_set, DiskPriority::kWhoProcess, 0, value) == 0;
}

TEST(LowPriority, LowersTheCallingThreadAlone) {
  const Priority before;
  Priority lowered;
  std::thread([&] {
    lowerThreadPriority();
    lowered = Priority();
  }).join();
  EXPECT_EQ(lowered.nice, std::max(before.nice, 5));
  EXPECT_EQ(lowered.disk, kLowest);
  EXPECT_EQ(Priority(), before);
}

TEST(LowPriority, RaisesNothing) {
  EXPECT_EQ(testing::inChild([] {
              const long idle = DiskPriority::kIdle << 13;
              if (::setpriority(PRIO_PROCESS, 0, 19) != 0 || !setDisk(idle)) return false;
              lowerThreadPriority();
              const Priority now;
              return now.nice == 19 && DiskPriority::classOf(now.disk) == DiskPriority::kIdle;
            }),
            0);
}

TEST(LowPriority, JobsOfDefaultPriorityAreLowAndThoseOfBackgroundPriorityAreNot) {
  const Priority before;
  const auto pool = std::make_shared<ThreadPool>(2);
  LowPriorityQueue queue(pool);
  const int lowNice = std::max(before.nice, 5);
  std::atomic<int> low = 0;
  std::atomic<int> normal = 0;
  for (int i = 0; i < 20; ++i) {
    queue.async(DISPATCH_QUEUE_PRIORITY_DEFAULT, [&] {
      if (Priority().nice == lowNice && Priority().disk == kLowest) ++low;
    });
    queue.async(DISPATCH_QUEUE_PRIORITY_BACKGROUND, [&] {
      if (Priority() == before) ++normal;
    });
  }
  pool->waitUntilIdle();
  EXPECT_EQ(low, 20);
  EXPECT_EQ(normal, 20);
}

TEST(LowPriority, TheDesktopsServicesHaveIt) {
  const Platform services = linuxPlatform();
  const int own = Priority().nice;
  std::atomic<int> nice = -1;
  services.queue->async(DISPATCH_QUEUE_PRIORITY_DEFAULT, [&] { nice = Priority().nice; });
  while (nice < 0) std::this_thread::yield();
  EXPECT_EQ(nice, std::max(own, 5));
}

}  // namespace
}  // namespace korvane
