// korvane-view: draws a sample view to a PNG file and, where GTK 4 and a display are there, shows
// it in a window.
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

#ifdef KORVANE_GTK
#include <gtk/gtk.h>
#endif

#include "linux/CairoSurface.h"
#include "linux/detail/Images.h"
#include "share/FlippedView.h"

namespace {

using namespace korvane;

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

/// A container with the sample view in it, as large as it.
std::shared_ptr<NSView> sampleHierarchy(double width, double height) {
  auto container = std::make_shared<NSView>(NSMakeRect(0, 0, width, height));
  container->addSubview(FlippedView::initWithFrame(container->bounds(), drawSample));
  return container;
}

bool writePNG(const char* path) {
  // Made small and then resized, so that the picture shows that the view follows its container.
  const auto container = sampleHierarchy(64, 64);
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

#ifdef KORVANE_GTK
void showWindow() {
  if (!gtk_init_check()) {
    std::puts("No display: the view is in the picture alone.");
    return;
  }
  auto container = sampleHierarchy(480, 360);
  GtkWidget* window = gtk_window_new();
  gtk_window_set_title(GTK_WINDOW(window), "FlippedView");
  gtk_window_set_default_size(GTK_WINDOW(window), 480, 360);
  GtkWidget* area = gtk_drawing_area_new();
  gtk_drawing_area_set_draw_func(
      GTK_DRAWING_AREA(area),
      [](GtkDrawingArea*, cairo_t* cairo, int width, int height, gpointer data) {
        auto* view = static_cast<NSView*>(data);
        view->setFrame(NSMakeRect(0, 0, width, height));
        view->displayRect(view->bounds(), CairoSurface::onto(cairo).context());
      },
      container.get(), nullptr);
  gtk_window_set_child(GTK_WINDOW(window), area);
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  g_signal_connect_swapped(window, "destroy", G_CALLBACK(g_main_loop_quit), loop);
  gtk_window_present(GTK_WINDOW(window));
  g_main_loop_run(loop);
  g_main_loop_unref(loop);
}
#endif

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 || argv[1][0] == '-') {
    std::fputs("Usage: korvane-view FILE.png\n", argc == 2 ? stdout : stderr);
    return argc == 2 && std::string(argv[1]) == "--help" ? 0 : 2;
  }
  if (!writePNG(argv[1])) {
    std::fprintf(stderr, "korvane-view: cannot write %s\n", argv[1]);
    return 1;
  }
  std::printf("The view is drawn in %s\n", argv[1]);
#ifdef KORVANE_GTK
  std::fflush(stdout);  // the window may stay open for long
  showWindow();
#endif
  return 0;
}
