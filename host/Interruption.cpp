#include "host/Interruption.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include "platform/detail/Translation.h"

namespace korvane {
namespace {

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};
constexpr unsigned char kNoSignal = 0;

// A handler may do little more than write: the thread at the other end does the work.
std::array<int, 2> ends{-1, -1};

void handOn(unsigned char signal) {
  const int error = errno;
  (void)!::write(ends[1], &signal, 1);
  errno = error;
}

void handle(int signal) { handOn(static_cast<unsigned char>(signal)); }

unsigned char nextSignal() {
  unsigned char signal = kNoSignal;
  while (::read(ends[0], &signal, 1) < 0 && errno == EINTR) {
  }
  return signal;
}

void endBy(int signal) {
  std::signal(signal, SIG_DFL);
  ::kill(::getpid(), signal);
}

}  // namespace

Interruption::Interruption(std::function<void()> work) {
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(),
                            translated("there is no pipe for signals"));
  }
  watcher_ = std::thread([work = std::move(work)] {
    const unsigned char signal = nextSignal();
    if (signal == kNoSignal) return;
    try {
      work();
    } catch (...) {  // the process ends all the same
    }
    endBy(signal);
    while (nextSignal() != kNoSignal) {  // until it has ended
    }
  });
  for (const int signal : kSignals) {
    struct sigaction before {};
    ::sigaction(signal, nullptr, &before);
    if (before.sa_handler == SIG_IGN) continue;
    struct sigaction action {};
    action.sa_handler = handle;
    action.sa_flags = SA_RESTART;
    ::sigaction(signal, &action, nullptr);
  }
}

Interruption::~Interruption() {
  for (const int signal : kSignals) {
    struct sigaction now {};
    ::sigaction(signal, nullptr, &now);
    if (now.sa_handler == handle) std::signal(signal, SIG_DFL);
  }
  ::close(std::exchange(ends[1], -1));  // its end tells so, and cannot fail as a write can
  watcher_.join();
  ::close(std::exchange(ends[0], -1));
}

}  // namespace korvane
