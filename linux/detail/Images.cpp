#include "linux/detail/Images.h"

// Shows whether a loader is safe for threads.
#define GDK_PIXBUF_ENABLE_BACKEND
#include <gdk-pixbuf/gdk-pixbuf.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string_view>

#include "formats/images/ImageEnd.h"
#include "formats/images/ImageWriters.h"

namespace korvane {
namespace {

// gdk-pixbuf reads this much before it chooses a loader.
constexpr std::size_t kSignatureBytes = 128;
constexpr std::size_t kPieceBytes = std::size_t{64} * 1024;
constexpr std::chrono::seconds kPatience{30};

struct Unreference {
  void operator()(gpointer object) const { g_object_unref(object); }
};
struct FreeError {
  void operator()(GError* error) const { g_error_free(error); }
};
using Loader = std::unique_ptr<GdkPixbufLoader, Unreference>;

// Runs once a loader knows the size, before it makes room for the pixels. A size of 0 by 0 makes
// loaders give up.
void limitSize(GdkPixbufLoader* loader, int width, int height, gpointer refused) {
  GdkPixbufFormat* format = gdk_pixbuf_loader_get_format(loader);
  if (format != nullptr && gdk_pixbuf_format_is_scalable(format) != FALSE) {
    const int longer = std::max(width, height);
    if (longer <= Images::maximumDrawingSide) return;
    const double scale = static_cast<double>(Images::maximumDrawingSide) / longer;
    gdk_pixbuf_loader_set_size(loader, std::max(1, static_cast<int>(width * scale)),
                               std::max(1, static_cast<int>(height * scale)));
    return;
  }
  if (width > 0 && height > 0 &&
      static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) <=
          Images::maximumPixels) {
    return;
  }
  *static_cast<bool*>(refused) = true;
  gdk_pixbuf_loader_set_size(loader, 0, 0);
}

// Loaders that say they are not safe for threads run one at a time. Which loader it is shows only
// after it has begun, so every decoding begins under the lock.
std::mutex& unsafeLoaders() {
  static auto* mutex = new std::mutex;
  return *mutex;
}

bool write(GdkPixbufLoader* loader, const NSData& encoded, std::size_t from, std::size_t to) {
  GError* error = nullptr;
  const bool written =
      gdk_pixbuf_loader_write(loader, encoded.data() + from, to - from, &error) != FALSE;
  const std::unique_ptr<GError, FreeError> owned(error);
  return written;
}

bool feed(GdkPixbufLoader* loader, const NSData& encoded, const bool& refused) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  std::unique_lock lock(unsafeLoaders());
  std::size_t at = std::min(encoded.size(), kSignatureBytes);
  bool good = write(loader, encoded, 0, at);
  GdkPixbufFormat* format = gdk_pixbuf_loader_get_format(loader);
  if (format != nullptr && (format->flags & GDK_PIXBUF_FORMAT_THREADSAFE) != 0) lock.unlock();
  while (good && !refused && at < encoded.size()) {
    const std::size_t next = at + std::min(kPieceBytes, encoded.size() - at);
    good = write(loader, encoded, at, next) && std::chrono::steady_clock::now() < deadline;
    at = next;
  }
  // A loader must be closed also after a failure. Many formats are decoded only here.
  GError* error = nullptr;
  good = gdk_pixbuf_loader_close(loader, &error) != FALSE && good && !refused;
  const std::unique_ptr<GError, FreeError> owned(error);
  return good;
}

// libtiff hands over alpha premultiplied, and gdk-pixbuf passes that on as if it were not.
void unpremultiply(Bitmap& bitmap) {
  for (std::size_t i = 0; i + 3 < bitmap.pixels.size(); i += 4) {
    const unsigned alpha = bitmap.pixels[i + 3];
    if (alpha == 0 || alpha == 255) continue;
    for (std::size_t c = i; c < i + 3; ++c) {
      const unsigned value = (bitmap.pixels[c] * 255U + alpha / 2) / alpha;
      bitmap.pixels[c] = static_cast<std::uint8_t>(std::min(value, 255U));
    }
  }
}

// Where the upright picture begins in the stored one, and where its rows and columns lead there.
struct Turn {
  bool swapped;     // rows are columns
  bool fromRight;   // begins at the stored picture's right edge
  bool fromBottom;  // begins at its bottom
};

// The EXIF orientations 1 to 8.
Turn turnOf(GdkPixbuf* pixbuf) {
  static constexpr std::array<Turn, 9> kTurns = {{{false, false, false},
                                                  {false, false, false},
                                                  {false, true, false},
                                                  {false, true, true},
                                                  {false, false, true},
                                                  {true, false, false},
                                                  {true, false, true},
                                                  {true, true, true},
                                                  {true, true, false}}};
  const char* option = gdk_pixbuf_get_option(pixbuf, "orientation");
  const long mark = option != nullptr ? std::strtol(option, nullptr, 10) : 1;
  return kTurns[mark >= 1 && mark <= 8 ? static_cast<std::size_t>(mark) : 1];
}

template <std::size_t channels>
void copyPixels(const std::uint8_t* from, std::ptrdiff_t step, std::uint8_t* to,
                std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i, from += step, to += channels) {
    std::memcpy(to, from, channels);
  }
}

std::shared_ptr<Bitmap> uprightBitmap(GdkPixbuf* pixbuf) {
  const auto storedWidth = static_cast<std::uint32_t>(gdk_pixbuf_get_width(pixbuf));
  const auto storedHeight = static_cast<std::uint32_t>(gdk_pixbuf_get_height(pixbuf));
  const auto channels = static_cast<std::uint32_t>(gdk_pixbuf_get_n_channels(pixbuf));
  const std::ptrdiff_t storedStride = gdk_pixbuf_get_rowstride(pixbuf);
  if (std::uint64_t{storedWidth} * storedHeight > Images::maximumPixels) return nullptr;
  if (gdk_pixbuf_get_bits_per_sample(pixbuf) != 8 || (channels != 3 && channels != 4)) {
    return nullptr;
  }
  const Turn turn = turnOf(pixbuf);
  auto bitmap = std::make_shared<Bitmap>();
  bitmap->width = turn.swapped ? storedHeight : storedWidth;
  bitmap->height = turn.swapped ? storedWidth : storedHeight;
  bitmap->channels = channels;
  bitmap->stride = std::size_t{bitmap->width} * channels;
  bitmap->pixels.resize(bitmap->stride * bitmap->height);

  const std::ptrdiff_t across = turn.fromRight ? -std::ptrdiff_t{channels} : channels;
  const std::ptrdiff_t down = turn.fromBottom ? -storedStride : storedStride;
  const std::ptrdiff_t columnStep = turn.swapped ? down : across;
  const std::ptrdiff_t rowStep = turn.swapped ? across : down;
  const std::uint8_t* first = gdk_pixbuf_read_pixels(pixbuf) +
                              (turn.fromRight ? (storedWidth - 1) * std::ptrdiff_t{channels} : 0) +
                              (turn.fromBottom ? (storedHeight - 1) * storedStride : 0);
  for (std::uint32_t row = 0; row < bitmap->height; ++row) {
    const std::uint8_t* from = first + row * rowStep;
    std::uint8_t* to = bitmap->pixels.data() + row * bitmap->stride;
    if (columnStep == std::ptrdiff_t{channels}) {
      std::memcpy(to, from, bitmap->stride);
    } else if (channels == 3) {
      copyPixels<3>(from, columnStep, to, bitmap->width);
    } else {
      copyPixels<4>(from, columnStep, to, bitmap->width);
    }
  }
  return bitmap;
}

}  // namespace

std::shared_ptr<const Bitmap> Images::decode(const NSData& encoded) try {
  if (auto bitmap = readOwnTIFF(encoded)) return bitmap;
  if (encoded.empty() || isCutOff(encoded)) return nullptr;

  const Loader loader(gdk_pixbuf_loader_new());
  bool refused = false;
  g_signal_connect(loader.get(), "size-prepared", G_CALLBACK(limitSize), &refused);
  if (!feed(loader.get(), encoded, refused)) return nullptr;
  GdkPixbuf* pixbuf = gdk_pixbuf_loader_get_pixbuf(loader.get());
  if (pixbuf == nullptr) return nullptr;
  auto bitmap = uprightBitmap(pixbuf);
  GdkPixbufFormat* format = gdk_pixbuf_loader_get_format(loader.get());
  if (bitmap && bitmap->channels == 4 && format != nullptr &&
      std::string_view(format->name) == "tiff") {
    unpremultiply(*bitmap);
  }
  return bitmap;
} catch (const std::bad_alloc&) {
  return nullptr;
}

std::optional<NSData> Images::encode(const Bitmap& bitmap, NSBitmapImageFileType type) try {
  switch (type) {
    case NSBitmapImageFileType::TIFF:
      return writeTIFF(bitmap);
    case NSBitmapImageFileType::PNG:
      return writePNG(bitmap);
  }
  return std::nullopt;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

}  // namespace korvane
