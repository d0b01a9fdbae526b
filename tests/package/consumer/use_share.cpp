#include <linux/CairoSurface.h>
#include <share/FlippedView.h>

#include <cstdio>

int main() {
  using namespace korvane;
  FlippedView view(NSMakeRect(0, 0, 2, 2), [](FlippedView& drawn, const NSRect&) {
    NSGraphicsContext::currentContext()->fillRect(drawn.bounds(), {1, 0, 0, 1});
  });
  auto surface = CairoSurface::create(2, 2);
  if (!surface) return 1;
  view.displayRect(view.bounds(), surface->context());
  std::printf("%d\n", surface->bitmap().pixels[0]);
  return surface->bitmap().pixels[0] == 255 ? 0 : 1;
}
