#pragma once

#include <functional>
#include <thread>

namespace korvane {

/// As long as this lives, SIGINT, SIGTERM and SIGHUP have `work` done, on a thread of its own, and
/// then end the process as they would have without it. A signal that is ignored (nohup) stays so.
/// One at a time in a process.
class Interruption {
 public:
  explicit Interruption(std::function<void()> work);
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

 private:
  std::thread watcher_;
};

}  // namespace korvane
