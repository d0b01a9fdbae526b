#include "programs/detail/SampleWindow.h"

#include <gtk/gtk.h>

#include <cstdio>

#include "host/SampleView.h"
#include "linux/CairoSurface.h"
#include "platform/detail/Translation.h"

namespace korvane {

void showSampleWindow() {
  if (!gtk_init_check()) {
    std::puts(translationOf("No display: the view is in the picture alone."));
    return;
  }
  auto container = sampleView(480, 360);
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

}  // namespace korvane
