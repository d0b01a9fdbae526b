#include "platform/Clock.h"

#include <chrono>
#include <thread>

#include "platform/Platform.h"

namespace korvane {

NSDate SystemClock::now() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return {std::chrono::duration<double>(now).count()};
}

void SystemClock::sleep(double seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

void sleepForTimeInterval(double seconds) { Platform::current()->clock->sleep(seconds); }

NSDate NSDate::date() { return Platform::current()->clock->now(); }

}  // namespace korvane
