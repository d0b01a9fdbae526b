#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/Export.h"
#include "platform/NSView.h"
#include "platform/Property.h"
#include "platform/Value.h"

namespace korvane {

/// A view whose origin is the top left corner and whose drawing is a callback of its owner. It
/// resizes with its container in both directions (autoresizingMask() is NSViewWidthSizable and
/// NSViewHeightSizable). Main thread only.
class KORVANE_EXPORT FlippedView : public NSView {
 public:
  /// Draws the rectangle, which is in the view's flipped coordinates, on
  /// NSGraphicsContext::currentContext(). An exception it throws reaches whoever asked for the
  /// drawing.
  using DrawingBlock = std::function<void(FlippedView& view, const NSRect& rect)>;

  /// A view without a callback, which draws nothing.
  explicit FlippedView(const NSRect& frame);
  /// A view with a copy of the callback; an empty one counts as none.
  FlippedView(const NSRect& frame, const DrawingBlock& drawingblock);
  /// Lets go of the callback and ends every observation of this view in the default notification
  /// centre.
  ~FlippedView() override;

  // The same, by the names of the initialisers. Never null.
  static std::shared_ptr<FlippedView> initWithFrame(const NSRect& frame);
  static std::shared_ptr<FlippedView> initWithFrame(const NSRect& frame,
                                                    const DrawingBlock& drawingblock);

  /// A free identifier for the owner; the view does not use it.
  Value viewId() const { return viewId_.get(); }
  void setViewId(Value viewId) { viewId_.set(std::move(viewId)); }

  /// A copy of the callback; empty when there is none.
  DrawingBlock drawingBlock() const;
  /// Replaces the callback by a copy of this one, or by none. Takes effect at the next redraw,
  /// which this does not ask for.
  void setDrawingBlock(const DrawingBlock& drawingBlock);

  /// True.
  bool isFlipped() const override { return true; }
  /// Does nothing.
  void Refresh();
  /// Calls the callback with this view and the rectangle unchanged; without one draws nothing.
  void drawRect(const NSRect& rect) override;

 private:
  Property<Value> viewId_;
  // One copy, shared with a redraw that is going on, so that state in it lasts from one redraw to
  // the next and a callback may replace itself.
  Property<std::shared_ptr<const DrawingBlock>> drawingBlock_;
};

}  // namespace korvane
