#pragma once

// Work in a process of its own: as an ordinary user, under limits, or until it is killed.

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace korvane::testing {

/// Runs the work in a forked process; gives its exit status: 0 where the work gave true, 1 where it
/// gave false, 2 for an exception, -SIGNAL where it was killed.
inline int inChild(const std::function<bool()>& work) {
  const pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("cannot fork");
  if (child == 0) {
    int status = 2;
    try {
      status = work() ? 0 : 1;
    } catch (...) {
    }
    ::_exit(status);
  }
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

/// The same, as a user to whom permissions apply: root becomes "nobody" for it.
inline int inChildAsOrdinaryUser(const std::function<bool()>& work) {
  return inChild([&] {
    constexpr unsigned kNobody = 65534;
    if (::geteuid() == 0 && (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)) return false;
    return work();
  });
}

/// Lets a system call of the calling thread, and of those that it starts, fail from now on.
inline bool failCall(long number, int error) {
  std::array<sock_filter, 4> program{{
      {BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)},
      {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, static_cast<std::uint32_t>(number)},
      {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error)},
      {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW},
  }};
  const sock_fprog filter{program.size(), program.data()};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

inline bool setLimit(int resource, rlim_t value) {
  rlimit limit{};
  if (::getrlimit(static_cast<__rlimit_resource_t>(resource), &limit) != 0) return false;
  limit.rlim_cur = value;
  return ::setrlimit(static_cast<__rlimit_resource_t>(resource), &limit) == 0;
}

/// A program that was started, with a pipe to its standard input and one from its standard output.
/// Killed when this goes.
class ChildProcess {
 public:
  explicit ChildProcess(const std::vector<std::string>& command) {
    int input[2];
    int output[2];
    if (::pipe2(input, O_CLOEXEC) != 0 || ::pipe2(output, O_CLOEXEC) != 0) {
      throw std::runtime_error("no pipe");
    }
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
      arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    process_ = ::fork();
    if (process_ < 0) throw std::runtime_error("cannot fork");
    if (process_ == 0) {
      ::dup2(input[0], STDIN_FILENO);
      ::dup2(output[1], STDOUT_FILENO);
      ::execvp(arguments[0], arguments.data());
      ::_exit(127);
    }
    ::close(input[0]);
    ::close(output[1]);
    input_ = input[1];
    output_ = output[0];
  }
  ~ChildProcess() {
    kill();
    ::close(input_);
    ::close(output_);
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// The next line of its standard output; "" at the end.
  std::string readLine() {
    std::string line;
    char byte = 0;
    for (;;) {
      const ssize_t count = ::read(output_, &byte, 1);
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0 || byte == '\n') return line;
      line += byte;
    }
  }
  void writeLine(const std::string& line) {
    const std::string text = line + "\n";
    if (::write(input_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
      throw std::runtime_error("the child does not listen");
    }
  }
  /// Ends it at once, by SIGKILL, and waits until it is gone.
  void kill() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    wait();
  }
  /// Waits for its end; gives its exit status, or -SIGNAL.
  int wait() {
    int status = 0;
    while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }
  /// Whether there is a line to read at this moment.
  bool hasOutput() const {
    pollfd wanted{output_, POLLIN, 0};
    return ::poll(&wanted, 1, 0) > 0;
  }
  /// Waits until it waits for something itself (a lock, its input), or has ended.
  void waitUntilAsleep() const {
    for (;;) {
      std::ifstream file("/proc/" + std::to_string(process_) + "/stat");
      std::string text;
      std::getline(file, text);
      const std::size_t end = text.rfind(')');
      if (end == std::string::npos ||
          std::string_view("SZX").find(text[end + 2]) != std::string_view::npos)
        return;
      ::sched_yield();
    }
  }
  pid_t identifier() const { return process_; }

 private:
  pid_t process_ = -1;
  int input_ = -1;
  int output_ = -1;
};

}  // namespace korvane::testing
