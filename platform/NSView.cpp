#include "platform/NSView.h"

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

thread_local NSGraphicsContext* current = nullptr;

/// Makes a context the current one while it lives.
class Current {
 public:
  explicit Current(NSGraphicsContext& context) : before_(std::exchange(current, &context)) {}
  ~Current() { current = before_; }
  Current(const Current&) = delete;
  Current& operator=(const Current&) = delete;

 private:
  NSGraphicsContext* before_;
};

// Shares the change of the container's length evenly among those of the margin before, the length
// and the margin behind that may change. With none of them flexible nothing moves.
void resizeAxis(double& origin, double& length, double change, bool marginBefore, bool flexible,
                bool marginBehind) {
  const int parts = int{marginBefore} + int{flexible} + int{marginBehind};
  if (parts == 0) return;
  const double share = change / parts;
  if (marginBefore) origin += share;
  if (flexible) length = std::max(0.0, length + share);
}

}  // namespace

NSRect NSIntersectionRect(const NSRect& a, const NSRect& b) {
  const double left = std::max(a.origin.x, b.origin.x);
  const double top = std::max(a.origin.y, b.origin.y);
  const double right = std::min(a.origin.x + a.size.width, b.origin.x + b.size.width);
  const double bottom = std::min(a.origin.y + a.size.height, b.origin.y + b.size.height);
  if (!(right > left && bottom > top)) return {};
  return NSMakeRect(left, top, right - left, bottom - top);
}

NSRect NSUnionRect(const NSRect& a, const NSRect& b) {
  if (a.isEmpty()) return b.isEmpty() ? NSRect{} : b;
  if (b.isEmpty()) return a;
  const double left = std::min(a.origin.x, b.origin.x);
  const double top = std::min(a.origin.y, b.origin.y);
  const double right = std::max(a.origin.x + a.size.width, b.origin.x + b.size.width);
  const double bottom = std::max(a.origin.y + a.size.height, b.origin.y + b.size.height);
  return NSMakeRect(left, top, right - left, bottom - top);
}

NSGraphicsContext* NSGraphicsContext::currentContext() { return current; }

/// Keeps a context's state and puts it back, also when drawing throws.
class NSView::SavedState {
 public:
  explicit SavedState(NSGraphicsContext& context) : context_(context) { context_.saveState(); }
  ~SavedState() { context_.restoreState(); }
  SavedState(const SavedState&) = delete;
  SavedState& operator=(const SavedState&) = delete;

 private:
  NSGraphicsContext& context_;
};

NSView::~NSView() = default;

void NSView::setFrame(const NSRect& frame) {
  const NSSize oldSize = frame_.size;
  frame_ = frame;
  if (oldSize == frame.size) return;
  for (const auto& view : subviews_) view->resizeWithOldSuperviewSize(oldSize, frame.size);
}

void NSView::resizeWithOldSuperviewSize(NSSize oldSize, NSSize newSize) {
  const auto has = [&](NSAutoresizingMaskOptions bit) { return (autoresizingMask_ & bit) != 0; };
  NSRect frame = frame_;
  resizeAxis(frame.origin.x, frame.size.width, newSize.width - oldSize.width, has(NSViewMinXMargin),
             has(NSViewWidthSizable), has(NSViewMaxXMargin));
  resizeAxis(frame.origin.y, frame.size.height, newSize.height - oldSize.height,
             has(NSViewMinYMargin), has(NSViewHeightSizable), has(NSViewMaxYMargin));
  setFrame(frame);
}

void NSView::addSubview(std::shared_ptr<NSView> view) {
  if (!view) return;
  for (const NSView* above = this; above; above = above->superview().get()) {
    if (above == view.get()) return;
  }
  view->removeFromSuperview();
  view->superview_ = weak_from_this();
  subviews_.push_back(std::move(view));
}

void NSView::removeFromSuperview() {
  const std::shared_ptr<NSView> container = superview_.lock();
  superview_.reset();
  if (!container) return;
  const auto self = shared_from_this();  // the container may hold the last reference
  std::erase(container->subviews_, self);
}

// A view's point in its superview's coordinates. Where the two count y in the same direction only
// the origin differs.
NSPoint NSView::toSuperview(NSPoint point) const {
  const auto container = superview_.lock();
  const bool containerFlipped = container && container->isFlipped();
  const double y = isFlipped() == containerFlipped ? point.y : frame_.size.height - point.y;
  return {frame_.origin.x + point.x, frame_.origin.y + y};
}

NSPoint NSView::fromSuperview(NSPoint point) const {
  const auto container = superview_.lock();
  const bool containerFlipped = container && container->isFlipped();
  const double y = point.y - frame_.origin.y;
  return {point.x - frame_.origin.x, isFlipped() == containerFlipped ? y : frame_.size.height - y};
}

NSPoint NSView::convertPointToView(NSPoint point, const NSView* view) const {
  for (auto at = shared_from_this(); at; at = at->superview()) point = at->toSuperview(point);
  if (!view) return point;
  std::vector<std::shared_ptr<const NSView>> path;
  for (auto at = view->shared_from_this(); at; at = at->superview()) path.push_back(at);
  for (auto at = path.rbegin(); at != path.rend(); ++at) point = (*at)->fromSuperview(point);
  return point;
}

void NSView::drawRect(const NSRect& /*rect*/) {}

void NSView::setNeedsDisplayInRect(const NSRect& rect) {
  dirty_ = NSUnionRect(dirty_, NSIntersectionRect(rect, bounds()));
}

bool NSView::needsDisplay() const { return !dirtyRect().isEmpty(); }

// What is marked in this view and, in its coordinates, in its subviews.
NSRect NSView::dirtyRect() const {
  NSRect dirty = NSIntersectionRect(dirty_, bounds());
  for (const auto& view : subviews_) {
    const NSRect inner = view->dirtyRect();
    if (inner.isEmpty()) continue;
    const NSPoint a = view->toSuperview(inner.origin);
    const NSPoint b =
        view->toSuperview({inner.origin.x + inner.size.width, inner.origin.y + inner.size.height});
    dirty = NSUnionRect(dirty, NSMakeRect(std::min(a.x, b.x), std::min(a.y, b.y), inner.size.width,
                                          inner.size.height));
  }
  return NSIntersectionRect(dirty, bounds());
}

void NSView::markClean() {
  dirty_ = {};
  for (const auto& view : subviews_) view->markClean();
}

void NSView::displayIfNeeded(NSGraphicsContext& context) {
  const NSRect dirty = dirtyRect();
  markClean();
  if (!dirty.isEmpty()) displayRect(dirty, context);
}

void NSView::displayRect(const NSRect& rect, NSGraphicsContext& context) {
  const Current scope(context);
  const SavedState state(context);
  if (!isFlipped()) context.flip(frame_.size.height);  // the context itself runs downwards
  drawHierarchy(NSIntersectionRect(rect, bounds()), context);
}

// The part of a rectangle of this view that a subview covers, in the subview's coordinates.
NSRect NSView::subviewRect(const NSView& subview, const NSRect& rect) const {
  const NSRect shared = NSIntersectionRect(rect, subview.frame_);
  if (shared.isEmpty()) return {};
  const double x = shared.origin.x - subview.frame_.origin.x;
  const double y = shared.origin.y - subview.frame_.origin.y;
  const double turned = subview.frame_.size.height - y - shared.size.height;
  return {{x, subview.isFlipped() == isFlipped() ? y : turned}, shared.size};
}

void NSView::drawHierarchy(const NSRect& rect, NSGraphicsContext& context) {
  if (rect.isEmpty()) return;
  const auto self = weak_from_this().lock();  // drawing may take the view out of its container
  {
    const SavedState state(context);
    context.clip(rect);
    drawRect(rect);
  }
  const auto subviews = subviews_;  // drawing may change the list
  for (const auto& view : subviews) {
    const NSRect inner = subviewRect(*view, rect);
    if (inner.isEmpty()) continue;
    const SavedState state(context);
    context.translate(view->frame_.origin.x, view->frame_.origin.y);
    if (view->isFlipped() != isFlipped()) context.flip(view->frame_.size.height);
    view->drawHierarchy(inner, context);
  }
}

}  // namespace korvane
