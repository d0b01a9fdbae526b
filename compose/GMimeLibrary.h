#pragma once

#include <gmime/gmime.h>

namespace korvane {

/// Makes GMime ready; before anything of it is used, as often as one likes, on any thread.
inline void startGMime() {
  static const bool started = [] {
    g_mime_init();
    return true;
  }();
  (void)started;
}

}  // namespace korvane
