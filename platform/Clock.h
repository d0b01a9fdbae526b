#pragma once

#include <memory>

#include "platform/Export.h"
#include "platform/NSDate.h"

namespace korvane {

/// Time; a service of the Platform. Any thread may call.
class KORVANE_EXPORT Clock {
 public:
  virtual ~Clock() = default;
  /// The installed Platform's.
  static std::shared_ptr<Clock> installed();
  virtual NSDate now() = 0;
  /// Blocks the calling thread for as many seconds.
  virtual void sleep(double seconds) = 0;
};

/// The system's clock.
class KORVANE_EXPORT SystemClock : public Clock {
 public:
  NSDate now() override;
  void sleep(double seconds) override;
};

/// Sleeps on the clock of the installed Platform: [NSThread sleepForTimeInterval:].
KORVANE_EXPORT void sleepForTimeInterval(double seconds);

}  // namespace korvane
