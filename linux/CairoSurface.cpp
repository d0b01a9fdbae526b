#include "linux/CairoSurface.h"

#include <string>
#include <utility>
#include <vector>

#include "formats/images/ImageWriters.h"
#include "linux/detail/CairoLibrary.h"
#include "platform/NSException.h"
#include "platform/NSString.h"

namespace korvane {
namespace {

struct SurfaceDeleter {
  void operator()(cairo_surface_t* surface) const { CAIRO(surface_destroy)(surface); }
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
  Surface surface(CAIRO(image_surface_create)(CAIRO_FORMAT_ARGB32, width, height));
  if (CAIRO(surface_status)(surface.get()) != CAIRO_STATUS_SUCCESS) return nullptr;
  unsigned char* rows = CAIRO(image_surface_get_data)(surface.get());
  const auto stride = static_cast<std::size_t>(CAIRO(image_surface_get_stride)(surface.get()));
  for (std::uint32_t y = 0; y < bitmap.height; ++y) {
    auto* out = reinterpret_cast<std::uint32_t*>(rows + y * stride);
    const std::uint8_t* in = bitmap.pixels.data() + y * bitmap.stride;
    for (std::uint32_t x = 0; x < bitmap.width; ++x, in += bitmap.channels) {
      out[x] = premultiplied(in, bitmap.channels);
    }
  }
  CAIRO(surface_mark_dirty)(surface.get());
  return surface;
}

}  // namespace

class CairoSurface::Context : public NSGraphicsContext {
 public:
  /// The target is the surface where that is ours; null where the cairo_t is somebody else's.
  explicit Context(cairo_t* cairo, cairo_surface_t* target = nullptr)
      : cairo_(CAIRO(reference)(cairo)), target_(target) {}
  ~Context() override { CAIRO(destroy)(cairo_); }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  void fillRect(const NSRect& rect, const NSColor& color) override {
    outline(rect);
    setColor(color);
    CAIRO(fill)(cairo_);
  }

  void strokeRect(const NSRect& rect, const NSColor& color, double width) override {
    outline(rect);
    stroke(color, width);
  }

  void fillEllipse(const NSRect& rect, const NSColor& color) override {
    if (rect.isEmpty()) return;
    CAIRO(save)(cairo_);
    CAIRO(translate)
    (cairo_, rect.origin.x + rect.size.width / 2, rect.origin.y + rect.size.height / 2);
    CAIRO(scale)(cairo_, rect.size.width / 2, rect.size.height / 2);
    CAIRO(new_path)(cairo_);
    CAIRO(arc)(cairo_, 0, 0, 1, 0, 2 * 3.14159265358979323846);
    CAIRO(restore)(cairo_);
    setColor(color);
    CAIRO(fill)(cairo_);
  }

  void strokeLine(NSPoint from, NSPoint to, const NSColor& color, double width) override {
    CAIRO(new_path)(cairo_);
    CAIRO(move_to)(cairo_, from.x, from.y);
    CAIRO(line_to)(cairo_, to.x, to.y);
    stroke(color, width);
  }

  void drawText(std::string_view text, NSPoint at, double size, const NSColor& color) override {
    if (!isUTF8(text)) return;  // cairo would draw nothing any more, not even the rest
    CAIRO(save)(cairo_);
    CAIRO(translate)(cairo_, at.x, at.y);
    if (upwards_) CAIRO(scale)(cairo_, 1, -1);
    CAIRO(select_font_face)
    (cairo_, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    CAIRO(set_font_size)(cairo_, size);
    setColor(color);
    CAIRO(move_to)(cairo_, 0, 0);
    CAIRO(show_text)(cairo_, std::string(text).c_str());
    CAIRO(restore)(cairo_);
  }

  void drawImage(const NSImage& image, const NSRect& rect) override {
    const Bitmap& bitmap = image.bitmap();
    const Surface picture = rect.isEmpty() ? nullptr : surfaceOf(bitmap);
    if (!picture) return;
    CAIRO(save)(cairo_);
    CAIRO(translate)(cairo_, rect.origin.x, rect.origin.y + (upwards_ ? rect.size.height : 0));
    CAIRO(scale)
    (cairo_, rect.size.width / bitmap.width,
     (upwards_ ? -1 : 1) * rect.size.height / bitmap.height);
    CAIRO(rectangle)(cairo_, 0, 0, bitmap.width, bitmap.height);
    CAIRO(clip)(cairo_);
    CAIRO(set_source_surface)(cairo_, picture.get(), 0, 0);
    CAIRO(pattern_set_extend)(CAIRO(get_source)(cairo_), CAIRO_EXTEND_PAD);  // sharp edges
    CAIRO(paint)(cairo_);
    CAIRO(restore)(cairo_);
  }

  void saveState() override {
    CAIRO(save)(cairo_);
    states_.push_back(upwards_);
  }
  void restoreState() override {
    CAIRO(restore)(cairo_);
    upwards_ = states_.back();
    states_.pop_back();
  }
  void translate(double x, double y) override { CAIRO(translate)(cairo_, x, y); }
  void flip(double height) override {
    CAIRO(translate)(cairo_, 0, height);
    CAIRO(scale)(cairo_, 1, -1);
    upwards_ = !upwards_;
  }
  void clip(const NSRect& rect) override {
    outline(rect);
    CAIRO(clip)(cairo_);
  }

  /// As it was given; the cairo_t keeps it.
  cairo_surface_t* target() const { return target_; }

 private:
  void outline(const NSRect& rect) {
    CAIRO(new_path)(cairo_);
    CAIRO(rectangle)(cairo_, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
  }
  void setColor(const NSColor& color) {
    CAIRO(set_source_rgba)(cairo_, color.red, color.green, color.blue, color.alpha);
  }
  void stroke(const NSColor& color, double width) {
    setColor(color);
    CAIRO(set_line_width)(cairo_, width);
    CAIRO(stroke)(cairo_);
  }

  cairo_t* cairo_;
  cairo_surface_t* target_;
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
  if (!cairoLibrary()) return std::nullopt;
  const Surface surface(CAIRO(image_surface_create)(CAIRO_FORMAT_ARGB32, width, height));
  if (CAIRO(surface_status)(surface.get()) != CAIRO_STATUS_SUCCESS) return std::nullopt;
  cairo_t* cairo = CAIRO(create)(surface.get());
  auto context = std::make_unique<Context>(cairo, surface.get());
  CAIRO(destroy)(cairo);
  return CairoSurface(std::move(context));
}

CairoSurface CairoSurface::onto(void* cairo) {
  if (!cairo) throw NSException(NSInvalidArgumentException, "there is nothing to draw onto");
  return CairoSurface(std::make_unique<Context>(static_cast<cairo_t*>(cairo)));
}

NSGraphicsContext& CairoSurface::context() { return *context_; }

Bitmap CairoSurface::bitmap() const {
  cairo_surface_t* surface = context_->target();
  Bitmap bitmap;
  if (!surface) return bitmap;
  CAIRO(surface_flush)(surface);
  bitmap.width = static_cast<std::uint32_t>(CAIRO(image_surface_get_width)(surface));
  bitmap.height = static_cast<std::uint32_t>(CAIRO(image_surface_get_height)(surface));
  bitmap.stride = std::size_t{bitmap.width} * 4;
  bitmap.pixels.resize(bitmap.stride * bitmap.height);
  const unsigned char* rows = CAIRO(image_surface_get_data)(surface);
  const auto stride = static_cast<std::size_t>(CAIRO(image_surface_get_stride)(surface));
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
