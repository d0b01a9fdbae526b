#include "platform/NSView.h"

#include <gtest/gtest.h>

#include <string>

#include "support/RecordingContext.h"

namespace korvane {
namespace {

using testing::RecordingContext;

class Flipped : public NSView {
 public:
  using NSView::NSView;
  bool isFlipped() const override { return true; }
};

/// Fills what it is asked to redraw.
template <class Base>
class Filling : public Base {
 public:
  using Base::Base;
  void drawRect(const NSRect& rect) override {
    NSGraphicsContext::currentContext()->fillRect(rect, {});
  }
};

struct ResizeCase {
  NSAutoresizingMaskOptions mask;
  NSRect expected;  // of a view at 10,20 30x40 when its container grows from 100x100 to 160x220
};

TEST(NSView, FollowsItsContainerByTheMask) {
  // Of 60 points across and 120 along, each flexible part takes an equal share.
  const ResizeCase cases[] = {
      {NSViewNotSizable, NSMakeRect(10, 20, 30, 40)},
      {NSViewMinXMargin, NSMakeRect(70, 20, 30, 40)},
      {NSViewWidthSizable, NSMakeRect(10, 20, 90, 40)},
      {NSViewMaxXMargin, NSMakeRect(10, 20, 30, 40)},
      {NSViewMinXMargin | NSViewMaxXMargin, NSMakeRect(40, 20, 30, 40)},
      {NSViewMinXMargin | NSViewWidthSizable, NSMakeRect(40, 20, 60, 40)},
      {NSViewMinXMargin | NSViewWidthSizable | NSViewMaxXMargin, NSMakeRect(30, 20, 50, 40)},
      {NSViewMinYMargin, NSMakeRect(10, 140, 30, 40)},
      {NSViewHeightSizable, NSMakeRect(10, 20, 30, 160)},
      {NSViewMaxYMargin, NSMakeRect(10, 20, 30, 40)},
      {NSViewMinYMargin | NSViewMaxYMargin, NSMakeRect(10, 80, 30, 40)},
      {NSViewMinYMargin | NSViewHeightSizable | NSViewMaxYMargin, NSMakeRect(10, 60, 30, 80)},
      {NSViewWidthSizable | NSViewHeightSizable, NSMakeRect(10, 20, 90, 160)},
  };
  for (const ResizeCase& c : cases) {
    const auto container = std::make_shared<NSView>(NSMakeRect(0, 0, 100, 100));
    const auto view = std::make_shared<NSView>(NSMakeRect(10, 20, 30, 40));
    view->setAutoresizingMask(c.mask);
    container->addSubview(view);
    container->setFrame(NSMakeRect(5, 5, 160, 220));
    EXPECT_EQ(view->frame(), c.expected) << "mask " << c.mask;
  }
}

TEST(NSView, EveryMaskSharesTheChangeEvenlyInBothDirections) {
  for (NSAutoresizingMaskOptions mask = 0; mask < 64; ++mask) {
    for (const double change : {60.0, -12.0}) {
      for (const bool flipped : {false, true}) {  // the coordinates of the container decide
        const NSRect frame = NSMakeRect(0, 0, 120, 180);
        const std::shared_ptr<NSView> container =
            flipped ? std::make_shared<Flipped>(frame) : std::make_shared<NSView>(frame);
        const auto view = std::make_shared<NSView>(NSMakeRect(20, 30, 40, 90));
        view->setAutoresizingMask(mask);
        container->addSubview(view);
        container->setFrame(NSMakeRect(7, 7, 120 + change, 180 + change));
        // The bits of one axis: margin before, size, margin behind.
        const auto part = [&](unsigned axis, unsigned bit) {
          return mask >> (3 * axis + bit) & 1U;
        };
        NSRect expected = NSMakeRect(20, 30, 40, 90);
        double* const values[2][2] = {{&expected.origin.x, &expected.size.width},
                                      {&expected.origin.y, &expected.size.height}};
        for (unsigned axis = 0; axis < 2; ++axis) {
          const unsigned parts = part(axis, 0) + part(axis, 1) + part(axis, 2);
          for (unsigned bit = 0; bit < 2; ++bit) {
            if (part(axis, bit)) *values[axis][bit] += change / parts;
          }
        }
        EXPECT_EQ(view->frame(), expected) << "mask " << mask << ", change " << change;
      }
    }
  }
}

TEST(NSView, ResizingReachesTheInnerViewsAndStopsAtNothing) {
  const auto outer = std::make_shared<NSView>(NSMakeRect(0, 0, 100, 100));
  const auto middle = std::make_shared<NSView>(NSMakeRect(0, 0, 50, 50));
  const auto inner = std::make_shared<NSView>(NSMakeRect(0, 0, 10, 10));
  for (const auto& view : {middle, inner}) {
    view->setAutoresizingMask(NSViewWidthSizable | NSViewHeightSizable);
  }
  outer->addSubview(middle);
  middle->addSubview(inner);
  outer->setFrame(NSMakeRect(0, 0, 120, 130));
  EXPECT_EQ(inner->frame(), NSMakeRect(0, 0, 30, 40));
  outer->setFrame(NSMakeRect(0, 0, 1, 1));
  EXPECT_EQ(inner->frame().size, (NSSize{0, 0}));
}

TEST(NSView, HierarchyKnowsBothWays) {
  const auto a = std::make_shared<NSView>(NSMakeRect(0, 0, 10, 10));
  const auto b = std::make_shared<NSView>(NSMakeRect(0, 0, 10, 10));
  const auto view = std::make_shared<NSView>(NSMakeRect(0, 0, 5, 5));
  a->addSubview(view);
  EXPECT_EQ(view->superview(), a);
  b->addSubview(view);
  EXPECT_EQ(view->superview(), b);
  EXPECT_TRUE(a->subviews().empty());
  view->addSubview(b);  // a view cannot hold what holds it
  EXPECT_EQ(view->superview(), b);
  EXPECT_TRUE(view->subviews().empty());
  b->addSubview(b);
  b->addSubview(nullptr);
  EXPECT_EQ(b->subviews().size(), 1U);
  view->removeFromSuperview();
  EXPECT_FALSE(view->superview());
  EXPECT_TRUE(b->subviews().empty());
}

TEST(NSView, SubviewsDoNotKeepTheirContainerAlive) {
  const auto view = std::make_shared<NSView>(NSMakeRect(0, 0, 5, 5));
  {
    const auto container = std::make_shared<NSView>(NSMakeRect(0, 0, 10, 10));
    container->addSubview(view);
  }
  EXPECT_FALSE(view->superview());
}

TEST(NSView, PointsConvertThroughFlippedAndPlainViews) {
  const auto root = std::make_shared<Flipped>(NSMakeRect(0, 0, 200, 100));
  const auto plain = std::make_shared<NSView>(NSMakeRect(20, 10, 100, 50));
  const auto flipped = std::make_shared<Flipped>(NSMakeRect(5, 5, 40, 20));
  root->addSubview(plain);
  plain->addSubview(flipped);
  // Flipped: y 0 is its top; its top is at 25 from plain's bottom, so at 50 - 25 from plain's top.
  EXPECT_EQ(flipped->convertPointToView({0, 0}, plain.get()), (NSPoint{5, 25}));
  EXPECT_EQ(flipped->convertPointToView({0, 0}, root.get()), (NSPoint{25, 35}));
  EXPECT_EQ(root->convertPointToView({25, 35}, flipped.get()), (NSPoint{0, 0}));
  // Outside is a container that is not flipped: the root's top is at 100 there.
  EXPECT_EQ(root->convertPointToView({25, 35}, nullptr), (NSPoint{25, 65}));
  EXPECT_EQ(flipped->convertPointToView({0, 0}, nullptr), (NSPoint{25, 65}));
  // Between branches the way leads over what they share.
  const auto other = std::make_shared<NSView>(NSMakeRect(50, 50, 20, 20));
  root->addSubview(other);
  EXPECT_EQ(flipped->convertPointToView({0, 0}, other.get()), (NSPoint{-25, 35}));
  for (const NSPoint p : {NSPoint{1, 2}, NSPoint{-3, 40}, NSPoint{7.5, 0.25}}) {
    EXPECT_EQ(root->convertPointToView(flipped->convertPointToView(p, root.get()), flipped.get()),
              p);
  }
}

TEST(NSView, DrawsBackToFrontEachInItsOwnCoordinatesAndOnlyWhatIsCovered) {
  const auto root = std::make_shared<Filling<Flipped>>(NSMakeRect(0, 0, 100, 100));
  const auto left = std::make_shared<Filling<Flipped>>(NSMakeRect(10, 10, 20, 20));
  const auto plain = std::make_shared<Filling<NSView>>(NSMakeRect(40, 10, 20, 20));
  const auto outside = std::make_shared<Filling<NSView>>(NSMakeRect(80, 80, 20, 20));
  for (const std::shared_ptr<NSView>& view :
       {std::shared_ptr<NSView>(left), std::shared_ptr<NSView>(plain),
        std::shared_ptr<NSView>(outside)}) {
    root->addSubview(view);
  }
  RecordingContext context;
  root->displayRect(NSMakeRect(0, 0, 60, 15), context);
  // The top five points of both; the plain view counts them from its bottom: 15 to 20.
  EXPECT_EQ(context.drawn(), "fill 0,0 60x15\nfill 0,0 20x5\nfill 0,15 20x5\n");
  EXPECT_EQ(context.depth(), 0);
  EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
}

TEST(NSView, OnlyWhatIsMarkedIsDrawnAndOnlyOnce) {
  const auto root = std::make_shared<Filling<Flipped>>(NSMakeRect(0, 0, 100, 100));
  const auto inner = std::make_shared<Filling<NSView>>(NSMakeRect(10, 20, 30, 40));
  root->addSubview(inner);
  RecordingContext context;
  root->displayIfNeeded(context);
  EXPECT_EQ(context.drawn(), "");
  inner->setNeedsDisplayInRect(NSMakeRect(0, 0, 10, 10));  // its bottom left: 10,50 in root
  EXPECT_TRUE(root->needsDisplay());
  root->displayIfNeeded(context);
  EXPECT_EQ(context.drawn(), "fill 10,50 10x10\nfill 0,0 10x10\n");
  root->displayIfNeeded(context);
  EXPECT_EQ(context.drawn(), "fill 10,50 10x10\nfill 0,0 10x10\n");
  root->setNeedsDisplayInRect(NSMakeRect(500, 500, 5, 5));
  EXPECT_FALSE(root->needsDisplay());
}

TEST(NSGeometry, IntersectionAndUnion) {
  const NSRect a = NSMakeRect(0, 0, 10, 10);
  EXPECT_EQ(NSIntersectionRect(a, NSMakeRect(5, -5, 10, 10)), NSMakeRect(5, 0, 5, 5));
  EXPECT_EQ(NSIntersectionRect(a, NSMakeRect(10, 0, 10, 10)), NSRect{});
  EXPECT_EQ(NSUnionRect(a, NSMakeRect(5, -5, 10, 10)), NSMakeRect(0, -5, 15, 15));
  EXPECT_EQ(NSUnionRect(a, NSRect{}), a);
  EXPECT_EQ(NSUnionRect(NSRect{}, a), a);
}

}  // namespace
}  // namespace korvane
