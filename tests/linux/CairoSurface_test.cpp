#include "linux/CairoSurface.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "platform/NSException.h"
#include "share/FlippedView.h"

namespace korvane {
namespace {

using Pixel = std::array<int, 4>;
constexpr Pixel kNothing{0, 0, 0, 0};
constexpr Pixel kRed{255, 0, 0, 255};
constexpr Pixel kGreen{0, 255, 0, 255};
constexpr Pixel kBlue{0, 0, 255, 255};

Pixel at(const Bitmap& bitmap, int x, int y) {
  const auto* p =
      &bitmap.pixels[static_cast<std::size_t>(y) * bitmap.stride + static_cast<std::size_t>(x) * 4];
  return {p[0], p[1], p[2], p[3]};
}

NSGraphicsContext& current() { return *NSGraphicsContext::currentContext(); }

NSImage twoRows(Pixel top, Pixel bottom) {
  auto bitmap = std::make_shared<Bitmap>();
  bitmap->width = 1;
  bitmap->height = 2;
  bitmap->stride = 4;
  for (const Pixel& pixel : {top, bottom}) {
    for (int part : pixel) bitmap->pixels.push_back(static_cast<std::uint8_t>(part));
  }
  return NSImage(bitmap);
}

Bitmap draw(NSView& view, int width, int height) {
  auto surface = CairoSurface::create(width, height);
  view.displayRect(view.bounds(), surface->context());
  return surface->bitmap();
}

class PlainView : public NSView {
 public:
  PlainView(const NSRect& frame, std::function<void()> body)
      : NSView(frame), body_(std::move(body)) {}
  void drawRect(const NSRect&) override { body_(); }

 private:
  std::function<void()> body_;
};

TEST(CairoSurface, RefusesSizesItCannotHold) {
  for (const auto& [width, height] : {std::pair{0, 1}, {1, 0}, {-1, 5}, {32768, 1}, {1, 1 << 30}}) {
    EXPECT_FALSE(CairoSurface::create(width, height)) << width << 'x' << height;
  }
  EXPECT_TRUE(CairoSurface::create(1, 1));
}

TEST(CairoSurface, OriginOfAFlippedViewIsTopLeft) {
  FlippedView view(NSMakeRect(0, 0, 8, 6), [](FlippedView&, const NSRect&) {
    current().fillRect(NSMakeRect(0, 0, 2, 1), {1, 0, 0, 1});
  });
  const Bitmap bitmap = draw(view, 8, 6);
  EXPECT_EQ(at(bitmap, 0, 0), kRed);
  EXPECT_EQ(at(bitmap, 1, 0), kRed);
  EXPECT_EQ(at(bitmap, 2, 0), kNothing);
  EXPECT_EQ(at(bitmap, 0, 1), kNothing);
  EXPECT_EQ(at(bitmap, 0, 5), kNothing);
}

TEST(CairoSurface, OriginOfAPlainViewIsBottomLeft) {
  PlainView view(NSMakeRect(0, 0, 8, 6), [] {
    current().fillRect(NSMakeRect(0, 0, 2, 1), {1, 0, 0, 1});
  });
  const Bitmap bitmap = draw(view, 8, 6);
  EXPECT_EQ(at(bitmap, 0, 5), kRed);
  EXPECT_EQ(at(bitmap, 0, 0), kNothing);
}

TEST(CairoSurface, ImagesStandUprightInBoth) {
  const NSImage image = twoRows(kGreen, kBlue);
  const auto body = [&] { current().drawImage(image, NSMakeRect(0, 0, 4, 4)); };
  FlippedView flipped(NSMakeRect(0, 0, 4, 4), [&](FlippedView&, const NSRect&) { body(); });
  PlainView plain(NSMakeRect(0, 0, 4, 4), body);
  for (NSView* view : {static_cast<NSView*>(&flipped), static_cast<NSView*>(&plain)}) {
    const Bitmap bitmap = draw(*view, 4, 4);
    EXPECT_EQ(at(bitmap, 1, 0), kGreen);
    EXPECT_EQ(at(bitmap, 1, 3), kBlue);
  }
}

TEST(CairoSurface, AnImageThatHoldsFewerPixelsThanItSaysDrawsNothing) {
  const Bitmap bitmaps[] = {{2, 2, 4, 8, std::vector<std::uint8_t>(15, 255)},
                            {2, 2, 4, 4, std::vector<std::uint8_t>(16, 255)},
                            {1, 1, 2, 2, std::vector<std::uint8_t>(2, 255)},
                            {1, 1, 4, 4, {}}};
  for (const Bitmap& bitmap : bitmaps) {
    const NSImage image(std::make_shared<const Bitmap>(bitmap));
    PlainView view(NSMakeRect(0, 0, 2, 2),
                   [&] { current().drawImage(image, NSMakeRect(0, 0, 2, 2)); });
    EXPECT_EQ(at(draw(view, 2, 2), 0, 0), kNothing);
  }
}

TEST(CairoSurface, DrawingIsClippedToTheRectangleToRedrawAndToTheView) {
  const auto root = FlippedView::initWithFrame(NSMakeRect(0, 0, 10, 10));
  const auto greedy =
      FlippedView::initWithFrame(NSMakeRect(2, 2, 4, 4), [](FlippedView&, const NSRect&) {
        current().fillRect(NSMakeRect(-100, -100, 1000, 1000), {0, 0, 1, 1});
      });
  root->addSubview(greedy);
  auto surface = CairoSurface::create(10, 10);
  root->displayRect(NSMakeRect(0, 0, 4, 10), surface->context());
  const Bitmap bitmap = surface->bitmap();
  for (int y = 0; y < 10; ++y) {
    for (int x = 0; x < 10; ++x) {
      const bool covered = x >= 2 && x < 4 && y >= 2 && y < 6;
      EXPECT_EQ(at(bitmap, x, y), covered ? kBlue : kNothing) << x << ',' << y;
    }
  }
}

TEST(CairoSurface, ViewResizedWithItsContainerFillsIt) {
  const auto container = std::make_shared<NSView>(NSMakeRect(0, 0, 10, 10));
  const auto view =
      FlippedView::initWithFrame(NSMakeRect(1, 1, 8, 8), [](FlippedView& drawn, const NSRect&) {
        current().fillRect(drawn.bounds(), {0, 1, 0, 1});
      });
  container->addSubview(view);
  container->setFrame(NSMakeRect(0, 0, 20, 30));
  const Bitmap bitmap = draw(*container, 20, 30);
  EXPECT_EQ(at(bitmap, 18, 28), kGreen);
  EXPECT_EQ(at(bitmap, 1, 1), kGreen);
  EXPECT_EQ(at(bitmap, 19, 29), kNothing);
  EXPECT_EQ(at(bitmap, 0, 0), kNothing);
}

TEST(CairoSurface, ShapesCoverWhatTheySay) {
  FlippedView view(NSMakeRect(0, 0, 20, 20), [](FlippedView&, const NSRect&) {
    current().fillEllipse(NSMakeRect(0, 0, 10, 10), {1, 0, 0, 1});
    current().fillEllipse(NSMakeRect(0, 0, 0, 10), {0, 1, 0, 1});  // covers nothing
    current().strokeRect(NSMakeRect(11, 11, 8, 8), {0, 1, 0, 1}, 2);
    current().strokeLine({0, 15}, {10, 15}, {0, 0, 1, 1}, 2);
  });
  const Bitmap bitmap = draw(view, 20, 20);
  EXPECT_EQ(at(bitmap, 5, 5), kRed);
  EXPECT_EQ(at(bitmap, 0, 0), kNothing);
  EXPECT_EQ(at(bitmap, 10, 15), kGreen);
  EXPECT_EQ(at(bitmap, 15, 15), kNothing);
  EXPECT_EQ(at(bitmap, 5, 14), kBlue);
  EXPECT_EQ(at(bitmap, 5, 16), kNothing);
}

TEST(CairoSurface, TextStandsUprightOnItsBaselineAndBadBytesHarmNothing) {
  FlippedView view(NSMakeRect(0, 0, 60, 40), [](FlippedView&, const NSRect&) {
    current().drawText("\xff\xfe", {0, 30}, 20, {0, 1, 0, 1});
    current().drawText("T", {10, 30}, 24, {1, 0, 0, 1});
  });
  const Bitmap bitmap = draw(view, 60, 40);
  // The bar of a "T" is in the upper half of its height, above the baseline at 30.
  int upper = 0;
  int lower = 0;
  int below = 0;
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 60; ++x) {
      const int ink = at(bitmap, x, y)[3];
      (y < 21 ? upper : y < 30 ? lower : below) += ink;
    }
  }
  EXPECT_GT(upper, lower);
  EXPECT_GT(lower, 0);
  EXPECT_EQ(below, 0);
}

TEST(CairoSurface, HalfTransparentColoursComeOutStraight) {
  FlippedView view(NSMakeRect(0, 0, 2, 2), [](FlippedView& drawn, const NSRect&) {
    current().fillRect(drawn.bounds(), {1, 0.5, 0, 0.5});
  });
  const Pixel pixel = at(draw(view, 2, 2), 0, 0);
  EXPECT_NEAR(pixel[0], 255, 1);
  EXPECT_NEAR(pixel[1], 128, 1);
  EXPECT_EQ(pixel[2], 0);
  EXPECT_NEAR(pixel[3], 128, 1);
}

TEST(CairoSurface, NothingCannotBeDrawnOnto) {
  EXPECT_THROW(CairoSurface::onto(nullptr), NSException);
}

// A mask has one byte for each pixel, where a picture has four.
TEST(CairoSurface, TheSurfaceOfSomebodyElseIsDrawnOntoAndNotRead) {
  void* const cairo = ::dlopen("libcairo.so.2", RTLD_NOW);
  ASSERT_NE(cairo, nullptr);
  const auto call = [&](const char* name, auto... arguments) {
    return reinterpret_cast<void* (*)(decltype(arguments)...)>(::dlsym(cairo, name))(arguments...);
  };
  constexpr int kMask = 2;  // CAIRO_FORMAT_A8
  void* const target = call("cairo_image_surface_create", kMask, 4, 4);
  void* const context = call("cairo_create", target);
  {
    CairoSurface surface = CairoSurface::onto(context);
    surface.context().fillRect({{0, 0}, {4, 4}}, {1, 1, 1, 1});
    EXPECT_EQ(surface.bitmap(), Bitmap());
  }
  call("cairo_surface_flush", target);
  EXPECT_EQ(*static_cast<unsigned char*>(call("cairo_image_surface_get_data", target)), 255);
  call("cairo_destroy", context);
  call("cairo_surface_destroy", target);
}

}  // namespace
}  // namespace korvane
