#pragma once

// Cairo, loaded when something is drawn first: with it come some fifteen libraries, which a share
// has no use for, and two megabytes of memory. For sources only: it names cairo's types.

#include <cairo.h>
#include <dlfcn.h>

namespace korvane {

/// Null where cairo is not installed. Any thread may call.
inline void* cairoLibrary() {
  static void* const library = dlopen("libcairo.so.2", RTLD_NOW | RTLD_LOCAL);
  return library;
}

/// CAIRO(fill) is cairo_fill; only where cairoLibrary() is there.
#define CAIRO(name)                                                                       \
  ([] {                                                                                   \
    static const auto function =                                                          \
        reinterpret_cast<decltype(&cairo_##name)>(dlsym(cairoLibrary(), "cairo_" #name)); \
    return function;                                                                      \
  }())

}  // namespace korvane
