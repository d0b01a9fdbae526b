#include "host/SampleView.h"

#include <cstdint>
#include <fstream>

#include "linux/CairoSurface.h"
#include "linux/detail/Images.h"
#include "share/FlippedView.h"

namespace korvane {
namespace {

NSImage gradient() {
  auto bitmap = std::make_shared<Bitmap>();
  bitmap->width = bitmap->height = 64;
  bitmap->stride = std::size_t{bitmap->width} * 4;
  for (std::uint32_t y = 0; y < bitmap->height; ++y) {
    for (std::uint32_t x = 0; x < bitmap->width; ++x) {
      for (const std::uint32_t part : {x * 4, y * 4, 160U, 255U}) {
        bitmap->pixels.push_back(static_cast<std::uint8_t>(part));
      }
    }
  }
  return NSImage(bitmap);
}

void drawSample(FlippedView& view, const NSRect& rect) {
  static const NSImage image = gradient();
  NSGraphicsContext& context = *NSGraphicsContext::currentContext();
  const NSRect all = view.bounds();
  context.fillRect(rect, {0.97, 0.97, 0.95, 1});
  context.drawText("Origin at the top left", {24, 48}, 24, {0.1, 0.1, 0.2, 1});
  for (int i = 0; i < 6; ++i) {
    const double x = 24 + i * (all.size.width - 48) / 6;
    const double height = (all.size.height - 140) * (i + 1) / 6;
    context.fillRect(NSMakeRect(x, 76, (all.size.width - 48) / 6 - 8, height),
                     {0.2 + 0.1 * i, 0.4, 0.8 - 0.1 * i, 1});
  }
  context.fillEllipse(NSMakeRect(24, all.size.height - 120, 90, 90), {0.9, 0.6, 0.1, 0.85});
  context.drawImage(image, NSMakeRect(140, all.size.height - 110, 72, 72));
  context.strokeLine({24, all.size.height - 16}, {all.size.width - 24, all.size.height - 16},
                     {0.1, 0.1, 0.2, 1}, 2);
  context.strokeRect(NSMakeRect(4, 4, all.size.width - 8, all.size.height - 8), {0.6, 0.6, 0.6, 1},
                     1);
}

}  // namespace

std::shared_ptr<NSView> sampleView(double width, double height) {
  auto container = std::make_shared<NSView>(NSMakeRect(0, 0, width, height));
  container->addSubview(FlippedView::initWithFrame(container->bounds(), drawSample));
  return container;
}

bool writeSampleView(const std::string& path) {
  // Made small and then resized, so that the picture shows that the view follows its container.
  const auto container = sampleView(64, 64);
  container->setFrame(NSMakeRect(0, 0, 480, 360));
  auto surface = CairoSurface::create(480, 360);
  if (!surface) return false;
  container->displayRect(container->bounds(), surface->context());
  const auto png = Images().encode(surface->bitmap(), NSBitmapImageFileType::PNG);
  if (!png) return false;
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(png->data()), static_cast<std::streamsize>(png->size()));
  file.close();
  return file.good();
}

}  // namespace korvane
