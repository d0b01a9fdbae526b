#pragma once

#include <memory>
#include <vector>

#include "platform/Export.h"
#include "platform/NSGeometry.h"
#include "platform/NSGraphicsContext.h"

namespace korvane {

/// How a view follows its container's size: along each axis, those of the margin before it, its
/// size and the margin behind it that are named here share the change evenly; with none of them the
/// origin and the size stay. "Min" is the side of the smaller coordinates: the left one, and the
/// lower one (in a flipped container the upper one). A size ends at 0; what it could not shrink by
/// is not taken off again when the container grows. Values are or'ed.
using NSAutoresizingMaskOptions = unsigned;
inline constexpr NSAutoresizingMaskOptions NSViewNotSizable = 0;
inline constexpr NSAutoresizingMaskOptions NSViewMinXMargin = 1;
inline constexpr NSAutoresizingMaskOptions NSViewWidthSizable = 2;
inline constexpr NSAutoresizingMaskOptions NSViewMaxXMargin = 4;
inline constexpr NSAutoresizingMaskOptions NSViewMinYMargin = 8;
inline constexpr NSAutoresizingMaskOptions NSViewHeightSizable = 16;
inline constexpr NSAutoresizingMaskOptions NSViewMaxYMargin = 32;

/// A rectangle of a screen that draws itself and its subviews. Held by std::shared_ptr once it is
/// part of a hierarchy: a view owns its subviews and knows its superview. Main thread only.
///
/// The origin of a view's coordinates is its bottom left corner, y growing upwards; of a flipped
/// view its top left corner, y growing downwards.
class KORVANE_EXPORT NSView : public std::enable_shared_from_this<NSView> {
 public:
  /// A view that stands at `frame` in its superview's coordinates.
  explicit NSView(const NSRect& frame) : frame_(frame) {}
  virtual ~NSView();
  NSView(const NSView&) = delete;
  NSView& operator=(const NSView&) = delete;

  NSRect frame() const { return frame_; }
  /// Moves and resizes the view; its subviews follow the new size as their masks say. Marks nothing
  /// to be drawn.
  void setFrame(const NSRect& frame);
  /// The view's own rectangle in its own coordinates: origin 0, the frame's size.
  NSRect bounds() const { return {{0, 0}, frame_.size}; }

  /// Whether y grows downwards. False.
  virtual bool isFlipped() const { return false; }

  NSAutoresizingMaskOptions autoresizingMask() const { return autoresizingMask_; }
  void setAutoresizingMask(NSAutoresizingMaskOptions mask) { autoresizingMask_ = mask; }

  /// Null for the outermost view.
  std::shared_ptr<NSView> superview() const { return superview_.lock(); }
  /// From back to front; never null.
  const std::vector<std::shared_ptr<NSView>>& subviews() const { return subviews_; }
  /// Adds a view in front of the others, taking it from where it was. Adding nothing, the view
  /// itself or one that holds it changes nothing.
  void addSubview(std::shared_ptr<NSView> view);
  /// Does nothing for a view that has none.
  void removeFromSuperview();

  /// A point of this view's coordinates in those of `view`; of the outermost superview's own
  /// container where `view` is nullptr. The two views must share a hierarchy.
  NSPoint convertPointToView(NSPoint point, const NSView* view) const;

  /// Draws what `rect` covers; `rect` is in this view's coordinates, and so is what is drawn on
  /// NSGraphicsContext::currentContext(). Draws nothing here.
  virtual void drawRect(const NSRect& rect);

  /// Marks a rectangle, or everything, to be drawn at the next displayIfNeeded.
  void setNeedsDisplayInRect(const NSRect& rect);
  void setNeedsDisplay() { setNeedsDisplayInRect(bounds()); }
  /// Whether anything is marked in this view or in its subviews. A new view is not.
  bool needsDisplay() const;

  /// Draws what is marked in this view and its subviews, and takes the marks away.
  void displayIfNeeded(NSGraphicsContext& context);
  /// Draws the rectangle of this view, then of its subviews from back to front, each clipped to its
  /// own bounds and to the rectangle. The context's origin is the top left corner of this view.
  void displayRect(const NSRect& rect, NSGraphicsContext& context);

 private:
  class SavedState;
  void resizeWithOldSuperviewSize(NSSize oldSize, NSSize newSize);
  void drawHierarchy(const NSRect& rect, NSGraphicsContext& context);
  NSPoint toSuperview(NSPoint point) const;
  NSPoint fromSuperview(NSPoint point) const;
  NSRect subviewRect(const NSView& subview, const NSRect& rect) const;
  NSRect dirtyRect() const;
  void markClean();

  NSRect frame_;
  NSAutoresizingMaskOptions autoresizingMask_ = NSViewNotSizable;
  std::weak_ptr<NSView> superview_;
  std::vector<std::shared_ptr<NSView>> subviews_;
  NSRect dirty_;
};

}  // namespace korvane
