#pragma once

#include <memory>
#include <optional>

#include "platform/Export.h"
#include "platform/NSGeometry.h"
#include "platform/NSGraphicsContext.h"
#include "platform/NSImage.h"
#include "platform/NSView.h"

namespace korvane {

/// A picture in memory that views are drawn onto: transparent at first, one pixel for each point,
/// origin at the top left. One thread at a time. One that was moved from can be assigned to or
/// destroyed, nothing else.
class KORVANE_EXPORT CairoSurface {
 public:
  /// Nothing when the size is not 1 to 32,767 pixels each way, when there is no memory for it and
  /// where cairo is not installed: it is loaded by the first call.
  static std::optional<CairoSurface> create(int width, int height);
  /// Draws onto a cairo_t of somebody else, a window's say, which must outlive the result. Raises
  /// NSException (NSInvalidArgumentException) for a null pointer.
  static CairoSurface onto(void* cairo);
  CairoSurface(CairoSurface&&) noexcept;
  CairoSurface& operator=(CairoSurface&&) noexcept;
  ~CairoSurface();

  NSGraphicsContext& context();
  /// What has been drawn so far, with straight alpha. Empty for somebody else's cairo_t.
  Bitmap bitmap() const;

 private:
  class Context;
  explicit CairoSurface(std::unique_ptr<Context> context);
  std::unique_ptr<Context> context_;
};

}  // namespace korvane
