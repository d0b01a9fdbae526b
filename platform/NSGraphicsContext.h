#pragma once

#include <string_view>

#include "platform/Export.h"
#include "platform/NSGeometry.h"
#include "platform/NSImage.h"

namespace korvane {

/// Parts from 0 to 1; alpha is not premultiplied.
struct KORVANE_EXPORT NSColor {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;
};

/// Something that can be drawn on. What is drawn stands in the coordinates of the view that is
/// drawing and is clipped to what it was asked to redraw. One thread at a time.
class KORVANE_EXPORT NSGraphicsContext {
 public:
  virtual ~NSGraphicsContext() = default;

  /// The context that drawRect draws on; nullptr while nothing is drawn. One for each thread.
  static NSGraphicsContext* currentContext();

  virtual void fillRect(const NSRect& rect, const NSColor& color) = 0;
  /// The outline, `width` points wide, half of it on either side of the edge.
  virtual void strokeRect(const NSRect& rect, const NSColor& color, double width) = 0;
  /// The ellipse that touches the rectangle's four sides.
  virtual void fillEllipse(const NSRect& rect, const NSColor& color) = 0;
  virtual void strokeLine(NSPoint from, NSPoint to, const NSColor& color, double width) = 0;
  /// One line of UTF-8 text in the sans-serif font of `size` points, upright whichever way the
  /// coordinates run; `at` is the left end of its baseline. Bytes that are not UTF-8 draw nothing.
  virtual void drawText(std::string_view text, NSPoint at, double size, const NSColor& color) = 0;
  /// The image scaled into the rectangle, upright. Nothing for a bitmap whose fields do not fit
  /// together.
  virtual void drawImage(const NSImage& image, const NSRect& rect) = 0;

 protected:
  friend class NSView;
  // The coordinates of a view, for the time it and its subviews are drawn.
  virtual void saveState() = 0;
  virtual void restoreState() = 0;
  virtual void translate(double x, double y) = 0;
  /// Turns the y axis around: what was at y is at height - y.
  virtual void flip(double height) = 0;
  virtual void clip(const NSRect& rect) = 0;
};

}  // namespace korvane
