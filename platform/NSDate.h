#pragma once

#include <compare>

#include "platform/Export.h"

namespace korvane {

/// A point in time: seconds since 1 January 1970 00:00:00 UTC, fractions included, without leap
/// seconds.
struct KORVANE_EXPORT NSDate {
  double timeIntervalSince1970 = 0;

  static constexpr NSDate dateWithTimeIntervalSince1970(double seconds) { return {seconds}; }
  /// The current moment, by the clock of the installed Platform.
  static NSDate date();

  friend auto operator<=>(const NSDate&, const NSDate&) = default;
};

}  // namespace korvane
