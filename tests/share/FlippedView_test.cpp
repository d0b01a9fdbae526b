#include "share/FlippedView.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/NSNotificationCenter.h"
#include "support/RecordingContext.h"

namespace korvane {
namespace {

using testing::RecordingContext;

const NSRect kFrame = NSMakeRect(1, 2, 30, 40);

TEST(FlippedView, IsFlippedHoweverItWasMade) {
  EXPECT_TRUE(FlippedView(kFrame).isFlipped());
  EXPECT_TRUE(FlippedView(kFrame, [](FlippedView&, const NSRect&) {}).isFlipped());
}

TEST(FlippedView, MaskIs18AndFrameIsKeptAfterEitherInitialiser) {
  const auto plain = FlippedView::initWithFrame(kFrame);
  const auto drawing = FlippedView::initWithFrame(kFrame, [](FlippedView&, const NSRect&) {});
  for (const auto& view : {plain, drawing}) {
    EXPECT_EQ(view->autoresizingMask(), 18U);
    EXPECT_EQ(view->frame(), kFrame);
    EXPECT_EQ(view->bounds(), NSMakeRect(0, 0, 30, 40));
    EXPECT_TRUE(view->viewId().isAbsent());
  }
  EXPECT_FALSE(plain->drawingBlock());
  EXPECT_TRUE(drawing->drawingBlock());
}

TEST(FlippedView, DrawsNothingUntilACallbackIsSetAndNothingOnceItIsCleared) {
  RecordingContext context;
  const auto view = FlippedView::initWithFrame(kFrame);
  view->displayRect(view->bounds(), context);
  EXPECT_EQ(context.drawn(), "");

  view->setDrawingBlock([](FlippedView&, const NSRect& rect) {
    NSGraphicsContext::currentContext()->fillRect(rect, {});
  });
  EXPECT_EQ(context.drawn(), "") << "setting the callback draws nothing";
  view->displayRect(view->bounds(), context);
  EXPECT_EQ(context.drawn(), "fill 0,0 30x40\n");

  view->setDrawingBlock(nullptr);
  view->displayRect(view->bounds(), context);
  EXPECT_EQ(context.drawn(), "fill 0,0 30x40\n");
}

TEST(FlippedView, CallbackGetsTheViewAndTheRectangleUnchanged) {
  const NSRect odd = NSMakeRect(-5, 7.25, 1e9, -3);
  const auto view = FlippedView::initWithFrame(kFrame);
  FlippedView* seenView = nullptr;
  NSRect seenRect;
  view->setDrawingBlock([&](FlippedView& drawn, const NSRect& rect) {
    seenView = &drawn;
    seenRect = rect;
  });
  view->drawRect(odd);
  EXPECT_EQ(seenView, view.get());
  EXPECT_EQ(seenRect, odd);
}

TEST(FlippedView, KeepsItsOwnCopyOfTheCallback) {
  int calls = 0;
  FlippedView::DrawingBlock block = [&calls](FlippedView&, const NSRect&) { ++calls; };
  FlippedView view(kFrame, block);
  block = nullptr;
  view.drawRect(kFrame);
  EXPECT_EQ(calls, 1);
}

TEST(FlippedView, CallbackStateLastsFromOneRedrawToTheNext) {
  int last = 0;
  FlippedView view(kFrame,
                   [&last, count = 0](FlippedView&, const NSRect&) mutable { last = ++count; });
  view.drawRect(kFrame);
  view.drawRect(kFrame);
  EXPECT_EQ(last, 2);
}

TEST(FlippedView, RefreshChangesNothingAndDrawsNothing) {
  int calls = 0;
  const auto view =
      FlippedView::initWithFrame(kFrame, [&](FlippedView&, const NSRect&) { ++calls; });
  view->Refresh();
  EXPECT_EQ(calls, 0);
  EXPECT_FALSE(view->needsDisplay());
  EXPECT_EQ(view->frame(), kFrame);
}

TEST(FlippedView, ViewGoesWhileTheCallbacksOwnerStays) {
  const auto owner = std::make_shared<int>(0);
  std::weak_ptr<FlippedView> weak;
  {
    const auto view =
        FlippedView::initWithFrame(kFrame, [owner](FlippedView&, const NSRect&) { ++*owner; });
    weak = view;
    RecordingContext context;
    view->displayRect(view->bounds(), context);
    EXPECT_EQ(view.use_count(), 1) << "no reference is left by the redraw";
    EXPECT_EQ(owner.use_count(), 2);
  }
  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(*owner, 1);
  EXPECT_EQ(owner.use_count(), 1) << "the view released its callback";
}

TEST(FlippedView, CallbacksOwnerGoesWhileTheViewStays) {
  const auto view = FlippedView::initWithFrame(kFrame);
  auto owner = std::make_shared<int>(0);
  std::weak_ptr<int> weak = owner;
  view->setDrawingBlock([weak](FlippedView&, const NSRect&) {
    if (const auto alive = weak.lock()) ++*alive;
  });
  view->drawRect(kFrame);
  EXPECT_EQ(*owner, 1);
  owner.reset();
  EXPECT_TRUE(weak.expired());
  view->drawRect(kFrame);
}

TEST(FlippedView, CallbackMayReplaceItselfAndLetGoOfTheView) {
  auto view = FlippedView::initWithFrame(kFrame);
  std::weak_ptr<FlippedView> weak = view;
  bool after = false;
  view->setDrawingBlock([&view, &after](FlippedView& drawn, const NSRect&) {
    drawn.setDrawingBlock(nullptr);
    view.reset();
    after = drawn.isFlipped();  // the view lives as long as its redraw
  });
  FlippedView* raw = view.get();
  raw->drawRect(kFrame);
  EXPECT_TRUE(after);
  EXPECT_TRUE(weak.expired());
}

TEST(FlippedView, LeavesNoObserverBehind) {
  auto& center = NSNotificationCenter::defaultCenter();
  auto view = FlippedView::initWithFrame(kFrame);
  const void* address = view.get();
  int calls = 0;
  center.addObserver(address, "FlippedViewTest", [&](std::string_view, const Value&) { ++calls; });
  center.postNotificationName("FlippedViewTest");
  EXPECT_EQ(calls, 1);
  view.reset();
  center.postNotificationName("FlippedViewTest");
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(center.observationCount(address), 0U);
}

TEST(FlippedView, ThrowingCallbackLeavesTheContextAsItWas) {
  RecordingContext context;
  const auto view = FlippedView::initWithFrame(
      kFrame, [](FlippedView&, const NSRect&) { throw std::runtime_error("no paint"); });
  EXPECT_THROW(view->displayRect(view->bounds(), context), std::runtime_error);
  EXPECT_EQ(context.depth(), 0);
  EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
}

TEST(FlippedView, ViewIdIsCarried) {
  FlippedView view(kFrame);
  view.setViewId("chart");
  EXPECT_EQ(view.viewId(), Value("chart"));
}

}  // namespace
}  // namespace korvane
