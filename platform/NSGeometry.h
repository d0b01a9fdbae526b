#pragma once

#include "platform/Export.h"

namespace korvane {

struct KORVANE_EXPORT NSPoint {
  double x = 0;
  double y = 0;
  friend bool operator==(const NSPoint&, const NSPoint&) = default;
};

struct KORVANE_EXPORT NSSize {
  double width = 0;
  double height = 0;
  friend bool operator==(const NSSize&, const NSSize&) = default;
};

/// A rectangle in some view's coordinates: origin and size, in points.
struct KORVANE_EXPORT NSRect {
  NSPoint origin;
  NSSize size;

  bool isEmpty() const { return !(size.width > 0 && size.height > 0); }
  friend bool operator==(const NSRect&, const NSRect&) = default;
};

constexpr NSRect NSMakeRect(double x, double y, double width, double height) {
  return {{x, y}, {width, height}};
}

/// The part that both rectangles cover; the empty rectangle at the origin where there is none.
KORVANE_EXPORT NSRect NSIntersectionRect(const NSRect& a, const NSRect& b);
/// The smallest rectangle that covers both; an empty one covers nothing.
KORVANE_EXPORT NSRect NSUnionRect(const NSRect& a, const NSRect& b);

}  // namespace korvane
