#include "linux/CairoSurface.h"

#include <cairo.h>

#include <string>
#include <utility>
#include <vector>

#include "formats/images/ImageWriters.h"
#include "platform/NSString.h"

namespace korvane {
namespace {

struct SurfaceDeleter {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using Surface = std::unique_ptr<cairo_surface_t, SurfaceDeleter>;

// Cairo's 32-bit pixels are native-endian words with premultiplied alpha.
std::uint32_t premultiplied(const std::uint8_t* pixel, std::uint32_t channels) {
  const std::uint32_t alpha = channels == 4 ? pixel[3] : 255;
  const auto scaled = [&](std::uint32_t part) { return (part * alpha + 127) / 255; };
  return alpha << 24 | scaled(pixel[0]) << 16 | scaled(pixel[1]) << 8 | scaled(pixel[2]);
}

Surface surfaceOf(const Bitmap& bitmap) {
  if (!fitsTogether(bitmap)) return nullptr;
  const int width = static_cast<int>(bitmap.width);
  const int height = static_cast<int>(bitmap.height);
  Surface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
  if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) return nullptr;
  unsigned char* rows = cairo_image_surface_get_data(surface.get());
  const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface.get()));
  for (std::uint32_t y = 0; y < bitmap.height; ++y) {
    auto* out = reinterpret_cast<std::uint32_t*>(rows + y * stride);
    const std::uint8_t* in = bitmap.pixels.data() + y * bitmap.stride;
    for (std::uint32_t x = 0; x < bitmap.width; ++x, in += bitmap.channels) {
      out[x] = premultiplied(in, bitmap.channels);
    }
  }
  cairo_surface_mark_dirty(surface.get());
  return surface;
}

}  // namespace

class CairoSurface::Context : public NSGraphicsContext {
 public:
  explicit Context(cairo_t* cairo) : cairo_(cairo_reference(cairo)) {}
  ~Context() override { cairo_destroy(cairo_); }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  void fillRect(const NSRect& rect, const NSColor& color) override {
    outline(rect);
    setColor(color);
    cairo_fill(cairo_);
  }

  void strokeRect(const NSRect& rect, const NSColor& color, double width) override {
    outline(rect);
    stroke(color, width);
  }

  void fillEllipse(const NSRect& rect, const NSColor& color) override {
    if (rect.isEmpty()) return;
    cairo_save(cairo_);
    cairo_translate(cairo_, rect.origin.x + rect.size.width / 2,
                    rect.origin.y + rect.size.height / 2);
    cairo_scale(cairo_, rect.size.width / 2, rect.size.height / 2);
    cairo_new_path(cairo_);
    cairo_arc(cairo_, 0, 0, 1, 0, 2 * 3.14159265358979323846);
    cairo_restore(cairo_);
    setColor(color);
    cairo_fill(cairo_);
  }

  void strokeLine(NSPoint from, NSPoint to, const NSColor& color, double width) override {
    cairo_new_path(cairo_);
    cairo_move_to(cairo_, from.x, from.y);
    cairo_line_to(cairo_, to.x, to.y);
    stroke(color, width);
  }

  void drawText(std::string_view text, NSPoint at, double size, const NSColor& color) override {
    if (!isUTF8(text)) return;  // cairo would draw nothing any more, not even the rest
    cairo_save(cairo_);
    cairo_translate(cairo_, at.x, at.y);
    if (upwards_) cairo_scale(cairo_, 1, -1);
    cairo_select_font_face(cairo_, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cairo_, size);
    setColor(color);
    cairo_move_to(cairo_, 0, 0);
    cairo_show_text(cairo_, std::string(text).c_str());
    cairo_restore(cairo_);
  }

  void drawImage(const NSImage& image, const NSRect& rect) override {
    const Bitmap& bitmap = image.bitmap();
    const Surface picture = rect.isEmpty() ? nullptr : surfaceOf(bitmap);
    if (!picture) return;
    cairo_save(cairo_);
    cairo_translate(cairo_, rect.origin.x, rect.origin.y + (upwards_ ? rect.size.height : 0));
    cairo_scale(cairo_, rect.size.width / bitmap.width,
                (upwards_ ? -1 : 1) * rect.size.height / bitmap.height);
    cairo_rectangle(cairo_, 0, 0, bitmap.width, bitmap.height);
    cairo_clip(cairo_);
    cairo_set_source_surface(cairo_, picture.get(), 0, 0);
    cairo_pattern_set_extend(cairo_get_source(cairo_), CAIRO_EXTEND_PAD);  // sharp edges
    cairo_paint(cairo_);
    cairo_restore(cairo_);
  }

  void saveState() override {
    cairo_save(cairo_);
    states_.push_back(upwards_);
  }
  void restoreState() override {
    cairo_restore(cairo_);
    upwards_ = states_.back();
    states_.pop_back();
  }
  void translate(double x, double y) override { cairo_translate(cairo_, x, y); }
  void flip(double height) override {
    cairo_translate(cairo_, 0, height);
    cairo_scale(cairo_, 1, -1);
    upwards_ = !upwards_;
  }
  void clip(const NSRect& rect) override {
    outline(rect);
    cairo_clip(cairo_);
  }

  cairo_surface_t* target() const { return cairo_get_target(cairo_); }

 private:
  void outline(const NSRect& rect) {
    cairo_new_path(cairo_);
    cairo_rectangle(cairo_, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
  }
  void setColor(const NSColor& color) {
    cairo_set_source_rgba(cairo_, color.red, color.green, color.blue, color.alpha);
  }
  void stroke(const NSColor& color, double width) {
    setColor(color);
    cairo_set_line_width(cairo_, width);
    cairo_stroke(cairo_);
  }

  cairo_t* cairo_;
  bool upwards_ = false;
  std::vector<bool> states_;
};

CairoSurface::CairoSurface(std::unique_ptr<Context> context) : context_(std::move(context)) {}
CairoSurface::CairoSurface(CairoSurface&&) noexcept = default;
CairoSurface& CairoSurface::operator=(CairoSurface&&) noexcept = default;
CairoSurface::~CairoSurface() = default;

std::optional<CairoSurface> CairoSurface::create(int width, int height) {
  constexpr int kMaxSide = 32767;  // what cairo's coordinates hold
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) return std::nullopt;
  const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
  if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) return std::nullopt;
  cairo_t* cairo = cairo_create(surface.get());
  auto context = std::make_unique<Context>(cairo);
  cairo_destroy(cairo);
  return CairoSurface(std::move(context));
}

CairoSurface CairoSurface::onto(void* cairo) {
  return CairoSurface(std::make_unique<Context>(static_cast<cairo_t*>(cairo)));
}

NSGraphicsContext& CairoSurface::context() { return *context_; }

Bitmap CairoSurface::bitmap() const {
  cairo_surface_t* surface = context_->target();
  Bitmap bitmap;
  if (cairo_surface_get_type(surface) != CAIRO_SURFACE_TYPE_IMAGE) return bitmap;
  cairo_surface_flush(surface);
  bitmap.width = static_cast<std::uint32_t>(cairo_image_surface_get_width(surface));
  bitmap.height = static_cast<std::uint32_t>(cairo_image_surface_get_height(surface));
  bitmap.stride = std::size_t{bitmap.width} * 4;
  bitmap.pixels.resize(bitmap.stride * bitmap.height);
  const unsigned char* rows = cairo_image_surface_get_data(surface);
  const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface));
  for (std::uint32_t y = 0; y < bitmap.height; ++y) {
    const auto* in = reinterpret_cast<const std::uint32_t*>(rows + y * stride);
    std::uint8_t* out = bitmap.pixels.data() + y * bitmap.stride;
    for (std::uint32_t x = 0; x < bitmap.width; ++x, out += 4) {
      const std::uint32_t alpha = in[x] >> 24;
      const auto straight = [&](unsigned shift) {
        const std::uint32_t part = in[x] >> shift & 255;
        return static_cast<std::uint8_t>(alpha == 0 ? 0 : (part * 255 + alpha / 2) / alpha);
      };
      out[0] = straight(16);
      out[1] = straight(8);
      out[2] = straight(0);
      out[3] = static_cast<std::uint8_t>(alpha);
    }
  }
  return bitmap;
}

}  // namespace korvane
