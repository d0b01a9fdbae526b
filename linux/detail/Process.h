#pragma once

#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <optional>

#include "linux/detail/FileDescriptor.h"

namespace korvane {

/// A child process that was started; killed, if it still runs, and collected when this goes.
class Process {
 public:
  /// Between two looks at one that has no descriptor.
  static constexpr std::chrono::milliseconds kPause{10};

  explicit Process(pid_t process)
      : process_(process), watch_(static_cast<int>(syscall(SYS_pidfd_open, process, 0))) {}
  ~Process() {
    if (ended_) return;
    kill(process_, SIGKILL);
    status();
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  /// Readable once the process has ended; -1 where there is no descriptor for it (an old kernel, a
  /// sandbox, too many open files).
  int watch() const { return watch_.get(); }
  /// Whether it has ended; it is not collected by that.
  bool hasEnded() const {
    siginfo_t info{};
    return waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
           info.si_pid == process_;
  }

  /// Waits for the end; what waitpid tells of it. Nothing where somebody else collected the
  /// process.
  std::optional<int> status() {
    int status = 0;
    pid_t collected = 0;
    rusage used{};
    do {
      collected = wait4(process_, &status, 0, &used);
    } while (collected < 0 && errno == EINTR);
    ended_ = true;
    if (collected != process_) return std::nullopt;
    for (const timeval& time : {used.ru_utime, used.ru_stime}) {
      processorTime_ += std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
    }
    return status;
  }
  /// What it took of the processor, known with the status.
  std::chrono::microseconds processorTime() const { return processorTime_; }

 private:
  pid_t process_;
  FileDescriptor watch_;
  bool ended_ = false;
  std::chrono::microseconds processorTime_{};
};

}  // namespace korvane
