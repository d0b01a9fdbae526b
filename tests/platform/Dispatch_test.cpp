#include "platform/Dispatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <latch>
#include <set>
#include <stdexcept>
#include <thread>

#include "platform/NSException.h"
#include "tests/support/TestPlatform.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

constexpr long kDefault = DISPATCH_QUEUE_PRIORITY_DEFAULT;
constexpr long kBackground = DISPATCH_QUEUE_PRIORITY_BACKGROUND;

TEST(Dispatch, ThePrioritiesAreThePlatforms) {
  EXPECT_EQ(kDefault, 0);
  EXPECT_EQ(kBackground, -32768);
  EXPECT_EQ(dispatch_get_global_queue(kBackground, 0).priority, kBackground);
}

TEST(Dispatch, GoesToTheInstalledQueue) {
  struct Queue : DispatchQueue {
    void async(long priority, std::function<void()> job) override {
      priorities.push_back(priority);
      job();
    }
    std::vector<long> priorities;
  };
  testing::TestPlatform platform;
  const auto queue = std::make_shared<Queue>();
  platform.services.queue = queue;
  platform.install();
  int runs = 0;
  dispatch_async(dispatch_get_global_queue(kBackground, 0), [&] { ++runs; });
  dispatch_async(dispatch_get_global_queue(kDefault, 0), [&] { ++runs; });
  EXPECT_EQ(runs, 2);
  EXPECT_THAT(queue->priorities, ElementsAre(kBackground, kDefault));
}

TEST(ThreadPool, RunsEveryJobOnAnotherThread) {
  std::atomic<int> runs{0};
  std::atomic<int> onCaller{0};
  const auto caller = std::this_thread::get_id();
  ThreadPool pool(3);
  for (int i = 0; i < 10'000; ++i) {
    pool.async(i % 2 ? kDefault : kBackground, [&] {
      ++runs;
      if (std::this_thread::get_id() == caller) ++onCaller;
    });
  }
  pool.waitUntilIdle();
  EXPECT_EQ(runs, 10'000);
  EXPECT_EQ(onCaller, 0);
}

TEST(ThreadPool, KeepsToItsLimitForEachPriority) {
  std::mutex mutex;
  std::set<std::thread::id> threads;
  ThreadPool pool(2);
  for (int i = 0; i < 1000; ++i) {
    pool.async(kDefault, [&] {
      std::lock_guard lock(mutex);
      threads.insert(std::this_thread::get_id());
    });
  }
  pool.waitUntilIdle();
  EXPECT_GE(threads.size(), 1U);
  EXPECT_LE(threads.size(), 2U);
}

TEST(ThreadPool, JobsOfOnePriorityRunAtTheSameTime) {
  std::latch meeting(2);
  ThreadPool pool(2);
  for (int i = 0; i < 2; ++i) pool.async(kDefault, [&] { meeting.arrive_and_wait(); });
  pool.waitUntilIdle();
  EXPECT_TRUE(meeting.try_wait());
}

TEST(ThreadPool, AJobMayWaitForOthersOfAnotherPriority) {
  ThreadPool pool(1);
  std::atomic<bool> done{false};
  pool.async(kBackground, [&] {
    std::promise<void> loaded;
    pool.async(kDefault, [&] { loaded.set_value(); });
    loaded.get_future().wait();
    done = true;
  });
  pool.waitUntilIdle();
  EXPECT_TRUE(done);
}

TEST(ThreadPool, EndsAfterTheJobsAndWhatTheyQueue) {
  for (int round = 0; round < 50; ++round) {
    std::atomic<int> runs{0};
    {
      ThreadPool pool(2);
      for (int i = 0; i < 20; ++i) {
        pool.async(kDefault, [&pool, &runs, i] {
          pool.async(kBackground, [&pool, &runs, i] {
            pool.async(i % 2 ? 7 : kDefault, [&] { ++runs; });
            ++runs;
          });
          ++runs;
        });
      }
    }
    EXPECT_EQ(runs, 60);
  }
}

TEST(ThreadPool, GoesOnAfterAJobThatThrows) {
  testing::TestPlatform platform;
  std::atomic<int> runs{0};
  ThreadPool pool(1);
  pool.async(kDefault, [] { throw NSException(NSRangeException, "text of a message"); });
  pool.async(kDefault, [] { throw std::runtime_error("text of a message"); });
  pool.async(kDefault, [] { throw 3; });
  pool.async(kDefault, [&] { ++runs; });
  pool.waitUntilIdle();
  EXPECT_EQ(runs, 1);
  EXPECT_THAT(platform.log->lines(),
              ElementsAre("[***ERROR***] dispatch_async job ended by NSRangeException",
                          "[***ERROR***] dispatch_async job ended by an exception",
                          "[***ERROR***] dispatch_async job ended by an exception"));
}

TEST(ThreadPool, ReleasesWhatAJobHoldsBeforeItCountsAsFinished) {
  for (int round = 0; round < 200; ++round) {
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = held;
    ThreadPool pool(2);
    pool.async(kDefault, [held = std::move(held)] {});
    pool.waitUntilIdle();
    EXPECT_TRUE(watch.expired());
  }
}

TEST(ThreadPool, MayBeLetGoOfLastByItsOwnJob) {
  for (int round = 0; round < 100; ++round) {
    auto pool = std::make_shared<ThreadPool>(2);
    ThreadPool* const raw = pool.get();
    std::latch go(1);
    std::promise<void> ended;
    raw->async(kDefault, [&go, &ended, pool = std::move(pool)]() mutable {
      go.wait();
      // What is queued before the pool goes still runs.
      pool->async(kDefault, [&ended] { ended.set_value(); });
      pool.reset();
    });
    go.count_down();
    ended.get_future().wait();
  }
}

TEST(ThreadPool, ManyThreadsMayQueueAtOnce) {
  std::atomic<int> runs{0};
  ThreadPool pool;
  std::vector<std::thread> callers;
  for (int i = 0; i < 4; ++i) {
    callers.emplace_back([&, i] {
      for (int j = 0; j < 1000; ++j) pool.async(i, [&] { ++runs; });
    });
  }
  for (std::thread& caller : callers) caller.join();
  pool.waitUntilIdle();
  EXPECT_EQ(runs, 4000);
}

TEST(ThreadPool, AnIdlePoolHasNoThreadsToEnd) {
  ThreadPool pool(1);
  pool.waitUntilIdle();  // returns at once
}

}  // namespace
}  // namespace korvane
