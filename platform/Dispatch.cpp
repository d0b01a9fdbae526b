#include "platform/Dispatch.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "platform/NSException.h"
#include "platform/NSLog.h"

namespace korvane {
namespace {

void runLogged(const std::function<void()>& job) noexcept {
  const auto log = [](std::string_view kind) noexcept {
    try {
      NSLog("[%@] dispatch_async job ended by %@", kErrorMark, kind);
    } catch (...) {  // no memory for the line
    }
  };
  try {
    job();
  } catch (const NSException& exception) {
    log(exception.name());
  } catch (...) {
    log("an exception");
  }
}

}  // namespace

GlobalQueue dispatch_get_global_queue(long priority, unsigned long /*flags*/) { return {priority}; }

void dispatch_async(GlobalQueue queue, std::function<void()> job) {
  DispatchQueue::installed()->async(queue.priority, std::move(job));
}

struct ThreadPool::State {
  /// The jobs and threads of one priority.
  struct Lane {
    std::deque<std::function<void()>> jobs;
    std::condition_variable work;  // a job came, or the pool ends
    unsigned threads = 0;
    unsigned idle = 0;
  };

  unsigned limit = 1;
  std::mutex mutex;
  std::condition_variable quiet;  // the last job ended
  std::map<long, Lane> lanes;     // lanes never move
  std::size_t unfinished = 0;
  bool ending = false;
  std::vector<std::thread> threads;

  void run(Lane& lane) {
    std::unique_lock lock(mutex);
    for (;;) {
      ++lane.idle;
      lane.work.wait(lock, [&] { return ending || !lane.jobs.empty(); });
      --lane.idle;
      if (lane.jobs.empty()) return;
      std::function<void()> job = std::move(lane.jobs.front());
      lane.jobs.pop_front();
      lock.unlock();
      runLogged(job);
      job = nullptr;  // what the job holds is released before it counts as finished
      lock.lock();
      if (--unfinished == 0) quiet.notify_all();
    }
  }
};

ThreadPool::ThreadPool(unsigned threads) : state_(std::make_shared<State>()) {
  state_->limit = threads ? threads : std::max(2U, std::thread::hardware_concurrency());
}

ThreadPool::~ThreadPool() {
  State& state = *state_;
  std::unique_lock lock(state.mutex);
  const bool ownThread = std::any_of(
      state.threads.begin(), state.threads.end(),
      [](const std::thread& thread) { return thread.get_id() == std::this_thread::get_id(); });
  if (!ownThread) state.quiet.wait(lock, [&] { return state.unfinished == 0; });
  state.ending = true;
  for (auto& [priority, lane] : state.lanes) lane.work.notify_all();
  lock.unlock();
  // Nobody can queue a job any more, so the list of threads stays as it is.
  for (std::thread& thread : state.threads) {
    if (ownThread) {
      thread.detach();
    } else {
      thread.join();
    }
  }
}

void ThreadPool::async(long priority, std::function<void()> job) {
  State& state = *state_;
  std::lock_guard lock(state.mutex);
  State::Lane& lane = state.lanes[priority];
  lane.jobs.push_back(std::move(job));
  ++state.unfinished;
  if (lane.jobs.size() > lane.idle && lane.threads < state.limit) {
    try {
      state.threads.emplace_back([held = state_, &lane] { held->run(lane); });
      ++lane.threads;
    } catch (const std::exception&) {
      if (lane.threads == 0) {
        lane.jobs.pop_back();
        --state.unfinished;
        throw;
      }  // else the threads that there are will come to it
    }
  }
  lane.work.notify_one();
}

void ThreadPool::waitUntilIdle() {
  std::unique_lock lock(state_->mutex);
  state_->quiet.wait(lock, [&] { return state_->unfinished == 0; });
}

}  // namespace korvane
