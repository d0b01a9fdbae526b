#include "share/FlippedView.h"

#include <utility>

#include "platform/NSNotificationCenter.h"

namespace korvane {

FlippedView::FlippedView(const NSRect& frame) : NSView(frame) {
  setAutoresizingMask(NSViewWidthSizable | NSViewHeightSizable);
}

FlippedView::FlippedView(const NSRect& frame, const DrawingBlock& drawingblock) : NSView(frame) {
  setDrawingBlock(drawingblock);
  setAutoresizingMask(NSViewWidthSizable | NSViewHeightSizable);
}

std::shared_ptr<FlippedView> FlippedView::initWithFrame(const NSRect& frame) {
  return std::make_shared<FlippedView>(frame);
}

std::shared_ptr<FlippedView> FlippedView::initWithFrame(const NSRect& frame,
                                                        const DrawingBlock& drawingblock) {
  return std::make_shared<FlippedView>(frame, drawingblock);
}

FlippedView::~FlippedView() {
  // What the callback holds is released before the view goes.
  drawingBlock_.set(nullptr);
  NSNotificationCenter::defaultCenter().removeObserver(this);
}

FlippedView::DrawingBlock FlippedView::drawingBlock() const {
  const auto block = drawingBlock_.get();
  return block ? *block : DrawingBlock();
}

void FlippedView::setDrawingBlock(const DrawingBlock& drawingBlock) {
  drawingBlock_.set(drawingBlock ? std::make_shared<const DrawingBlock>(drawingBlock) : nullptr);
}

void FlippedView::Refresh() {}

void FlippedView::drawRect(const NSRect& rect) {
  const auto block = drawingBlock_.get();
  if (!block) return;
  const auto self = weak_from_this().lock();  // the view outlives its own redraw
  (*block)(*this, rect);
}

}  // namespace korvane
