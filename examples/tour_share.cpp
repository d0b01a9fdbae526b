// A view whose drawing is a callback, drawn into a picture.
#include <cstdio>
#include <memory>

#include "linux/CairoSurface.h"
#include "share/FlippedView.h"

using namespace korvane;

int main() {
  const auto window = std::make_shared<NSView>(NSMakeRect(0, 0, 40, 40));
  const auto chart =
      FlippedView::initWithFrame(window->bounds(), [](FlippedView& view, const NSRect&) {
        NSGraphicsContext& context = *NSGraphicsContext::currentContext();
        context.fillRect(view.bounds(), {1, 1, 1, 1});
        context.fillRect(NSMakeRect(0, 0, 10, 10), {1, 0, 0, 1});  // top left
      });
  window->addSubview(chart);
  window->setFrame(NSMakeRect(0, 0, 120, 80));  // the chart follows, both ways

  auto surface = CairoSurface::create(120, 80);
  if (!surface) return 1;
  window->displayRect(window->bounds(), surface->context());

  const Bitmap picture = surface->bitmap();
  const auto red = [&](int x, int y) {
    return picture.pixels[y * picture.stride + x * picture.channels + 1] == 0;
  };
  std::printf("%ux%u, red at the top left: %s\n", picture.width, picture.height,
              red(5, 5) ? "yes" : "no");
  return red(5, 5) && !red(5, 75) && !red(100, 5) ? 0 : 1;
}
