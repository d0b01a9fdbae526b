#pragma once

#include <sstream>
#include <string>

#include "platform/NSGraphicsContext.h"

namespace korvane::testing {

/// Writes down what is drawn, in the coordinates it is drawn in, one line each.
class RecordingContext : public NSGraphicsContext {
 public:
  std::string drawn() const { return drawn_.str(); }
  /// Every change of coordinates and clip as well.
  std::string everything() const { return everything_.str(); }
  /// How many saved states are open.
  int depth() const { return depth_; }

  void fillRect(const NSRect& rect, const NSColor&) override { draw("fill ", rect); }
  void strokeRect(const NSRect& rect, const NSColor&, double) override { draw("stroke ", rect); }
  void fillEllipse(const NSRect& rect, const NSColor&) override { draw("ellipse ", rect); }
  void strokeLine(NSPoint from, NSPoint to, const NSColor&, double) override {
    draw("line ", {from, {to.x - from.x, to.y - from.y}});
  }
  void drawText(std::string_view text, NSPoint at, double size, const NSColor&) override {
    draw("text " + std::string(text) + ' ', {at, {size, size}});
  }
  void drawImage(const NSImage&, const NSRect& rect) override { draw("image ", rect); }

 protected:
  void saveState() override { ++depth_; }
  void restoreState() override { --depth_; }
  void translate(double x, double y) override {
    everything_ << "translate " << x << ',' << y << '\n';
  }
  void flip(double height) override { everything_ << "flip " << height << '\n'; }
  void clip(const NSRect& rect) override { everything_ << "clip " << describe(rect) << '\n'; }

 private:
  static std::string describe(const NSRect& rect) {
    std::ostringstream out;
    out << rect.origin.x << ',' << rect.origin.y << ' ' << rect.size.width << 'x'
        << rect.size.height;
    return out.str();
  }
  void draw(const std::string& what, const NSRect& rect) {
    drawn_ << what << describe(rect) << '\n';
    everything_ << what << describe(rect) << '\n';
  }

  std::ostringstream drawn_;
  std::ostringstream everything_;
  int depth_ = 0;
};

}  // namespace korvane::testing
