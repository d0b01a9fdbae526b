#include "platform/Dispatch.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "platform/Platform.h"

namespace korvane {

GlobalQueue dispatch_get_global_queue(long priority, unsigned long /*flags*/) {
  return {priority};
}

void dispatch_async(GlobalQueue queue, std::function<void()> job) {
  Platform::current()->queue->async(queue.priority, std::move(job));
}

struct ThreadPool::State {
  struct Lane {
    std::deque<std::function<void()>> jobs;
    unsigned threads = 0;
    unsigned idle = 0;
  };

  unsigned limit = 1;
  std::mutex mutex;
  std::condition_variable work;   // a job came, or the pool ends
  std::condition_variable quiet;  // a job ended
  std::map<long, Lane> lanes;
  std::size_t unfinished = 0;
  bool ending = false;
  std::vector<std::thread> threads;

  void run(Lane& lane) {
    std::unique_lock lock(mutex);
    for (;;) {
      ++lane.idle;
      work.wait(lock, [&] { return ending || !lane.jobs.empty(); });
      --lane.idle;
      if (lane.jobs.empty()) return;
      {
        std::function<void()> job = std::move(lane.jobs.front());
        lane.jobs.pop_front();
        lock.unlock();
        job();
      }  // what the job holds is released before it counts as finished
      lock.lock();
      if (--unfinished == 0) quiet.notify_all();
    }
  }
};

ThreadPool::ThreadPool(unsigned threads) : state_(std::make_unique<State>()) {
  state_->limit = threads ? threads : std::max(2U, std::thread::hardware_concurrency());
}

ThreadPool::~ThreadPool() {
  {
    std::lock_guard lock(state_->mutex);
    state_->ending = true;
  }
  state_->work.notify_all();
  for (std::thread& thread : state_->threads) thread.join();
}

void ThreadPool::async(long priority, std::function<void()> job) {
  State& state = *state_;
  {
    std::lock_guard lock(state.mutex);
    State::Lane& lane = state.lanes[priority];
    lane.jobs.push_back(std::move(job));
    ++state.unfinished;
    if (lane.jobs.size() > lane.idle && lane.threads < state.limit) {
      ++lane.threads;
      state.threads.emplace_back([&state, &lane] { state.run(lane); });
    }
  }
  state.work.notify_all();
}

void ThreadPool::waitUntilIdle() {
  std::unique_lock lock(state_->mutex);
  state_->quiet.wait(lock, [&] { return state_->unfinished == 0; });
}

}  // namespace korvane
