#include "platform/Clock.h"

#include <chrono>
#include <thread>

namespace korvane {

NSDate SystemClock::now() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return {std::chrono::duration<double>(now).count()};
}

void SystemClock::sleep(double seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

void sleepForTimeInterval(double seconds) { Clock::installed()->sleep(seconds); }

NSDate NSDate::date() { return Clock::installed()->now(); }

}  // namespace korvane
