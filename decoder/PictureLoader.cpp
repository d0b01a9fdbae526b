#include "decoder/PictureLoader.h"

#include <gdk-pixbuf/gdk-pixbuf.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "formats/images/DecodedPicture.h"
#include "formats/images/ImageParts.h"

namespace korvane {
namespace {

constexpr std::size_t kPieceBytes = std::size_t{64} * 1024;

struct Unreference {
  void operator()(gpointer object) const { g_object_unref(object); }
};
struct Free {
  void operator()(gpointer memory) const { g_free(memory); }
};
using Loader = std::unique_ptr<GdkPixbufLoader, Unreference>;
using Pixbuf = std::unique_ptr<GdkPixbuf, Unreference>;

// An error of GLib, and what it means to the person.
class Failure {
 public:
  ~Failure() { g_clear_error(&error_); }
  Failure() = default;
  Failure(const Failure&) = delete;
  Failure& operator=(const Failure&) = delete;
  GError** slot() {
    g_clear_error(&error_);
    return &error_;
  }
  DecodeStatus status() const {
    if (g_error_matches(error_, GDK_PIXBUF_ERROR, GDK_PIXBUF_ERROR_UNKNOWN_TYPE) != FALSE) {
      return DecodeStatus::notAPicture;
    }
    if (g_error_matches(error_, GDK_PIXBUF_ERROR, GDK_PIXBUF_ERROR_INSUFFICIENT_MEMORY) != FALSE) {
      return DecodeStatus::noMemory;
    }
    return DecodeStatus::damaged;
  }

 private:
  GError* error_ = nullptr;
};

// The loader of a format; where there is none of that name, one that looks at the data itself.
Loader loaderFor(std::string_view format) {
  const auto named = [](const std::string& name) {
    Failure ignored;
    return Loader(gdk_pixbuf_loader_new_with_type(name.c_str(), ignored.slot()));
  };
  if (!format.empty()) {
    if (auto loader = named(std::string(format))) return loader;
    if (format == "avif" || format == "heif") {
      if (auto loader = named("heif/avif")) return loader;
    }
  }
  return Loader(gdk_pixbuf_loader_new());
}

void closeUnused(Loader loader) {
  Failure expected;
  gdk_pixbuf_loader_close(loader.get(), expected.slot());
}

struct Sides {
  bool tooLarge = false;
};

// Runs once a loader knows the size, before it makes room for the pixels. A size of 0 by 0 makes
// loaders give up.
void limitSize(GdkPixbufLoader* loader, int width, int height, gpointer data) {
  GdkPixbufFormat* format = gdk_pixbuf_loader_get_format(loader);
  if (format != nullptr && gdk_pixbuf_format_is_scalable(format) != FALSE) {
    const int longer = std::max(width, height);
    if (longer <= kMaxDrawingSide) return;
    const double scale = static_cast<double>(kMaxDrawingSide) / longer;
    gdk_pixbuf_loader_set_size(loader, std::max(1, static_cast<int>(width * scale)),
                               std::max(1, static_cast<int>(height * scale)));
    return;
  }
  if (width > 0 && height > 0 &&
      isAllowedPicture(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height), 3)) {
    return;
  }
  static_cast<Sides*>(data)->tooLarge = true;
  gdk_pixbuf_loader_set_size(loader, 0, 0);
}

// Gives the loader the data. Many formats are decoded only when it is closed.
DecodeStatus feed(GdkPixbufLoader* loader, std::span<const std::uint8_t> encoded,
                  std::string_view format, const Sides& sides) {
  Failure failure;
  bool good = true;
  for (const ImagePart& part : neededParts(encoded, format)) {
    for (std::size_t at = part.begin; good && at < part.end; at += kPieceBytes) {
      const std::size_t size = std::min(kPieceBytes, part.end - at);
      good = gdk_pixbuf_loader_write(loader, &encoded[at], size, failure.slot()) != FALSE &&
             !sides.tooLarge;
    }
  }
  DecodeStatus status = good ? DecodeStatus::decoded : failure.status();
  const bool closed = gdk_pixbuf_loader_close(loader, failure.slot()) != FALSE;
  if (good && !closed) status = failure.status();
  return sides.tooLarge ? DecodeStatus::tooLarge : status;
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

// Loaders give dots per inch, as a whole number.
std::uint32_t pixelsPerMetre(GdkPixbuf* pixbuf, const char* option) {
  const char* text = gdk_pixbuf_get_option(pixbuf, option);
  const long perInch = text != nullptr ? std::strtol(text, nullptr, 10) : 0;
  constexpr long kMost = 1'000'000;
  constexpr double kInchesPerMetre = 1 / 0.0254;
  if (perInch <= 0 || perInch > kMost) return 0;
  return static_cast<std::uint32_t>(std::lround(static_cast<double>(perInch) * kInchesPerMetre));
}

std::vector<std::uint8_t> profileOf(GdkPixbuf* pixbuf) {
  const char* text = gdk_pixbuf_get_option(pixbuf, "icc-profile");
  if (text == nullptr) return {};
  gsize size = 0;
  const std::unique_ptr<guchar, Free> bytes(g_base64_decode(text, &size));
  const std::span profile(bytes.get(), size);
  // One for other colours (of a press, say) is of no use beside pixels that are RGB by now.
  if (!isProfileOfRGB(profile)) return {};
  return {profile.begin(), profile.end()};
}

bool writeAll(int output, const void* bytes, std::size_t size) {
  const auto* at = static_cast<const std::uint8_t*>(bytes);
  while (size > 0) {
    const ssize_t count = write(output, at, size);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    at += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

// libtiff hands over alpha premultiplied, and gdk-pixbuf passes that on as if it were not.
void unpremultiply(std::vector<std::uint8_t>& pixels) {
  for (std::size_t i = 0; i + 3 < pixels.size(); i += 4) {
    const unsigned alpha = pixels[i + 3];
    if (alpha == 0 || alpha == 255) continue;
    for (std::size_t c = i; c < i + 3; ++c) {
      pixels[c] = static_cast<std::uint8_t>(std::min((pixels[c] * 255U + alpha / 2) / alpha, 255U));
    }
  }
}

template <std::size_t channels>
void copyTurned(const std::uint8_t* from, std::ptrdiff_t rowStep, std::ptrdiff_t columnStep,
                std::uint32_t rows, std::uint32_t columns, std::uint8_t* to) {
  const std::size_t stride = std::size_t{columns} * channels;
  for (std::uint32_t x = 0; x < columns; ++x) {
    const std::uint8_t* pixel = from + x * columnStep;
    std::uint8_t* place = to + x * channels;
    for (std::uint32_t y = 0; y < rows; ++y, pixel += rowStep, place += stride) {
      std::memcpy(place, pixel, channels);
    }
  }
}

bool writeRows(GdkPixbuf* pixbuf, const DecodedHead& head, Turn turn, bool premultiplied,
               int output) {
  const std::ptrdiff_t channels = head.channels;
  const std::ptrdiff_t storedStride = gdk_pixbuf_get_rowstride(pixbuf);
  const std::ptrdiff_t lastColumn = (gdk_pixbuf_get_width(pixbuf) - 1) * channels;
  const std::ptrdiff_t lastRow = (gdk_pixbuf_get_height(pixbuf) - 1) * storedStride;
  const std::uint8_t* first = gdk_pixbuf_read_pixels(pixbuf) + (turn.fromRight ? lastColumn : 0) +
                              (turn.fromBottom ? lastRow : 0);
  const std::ptrdiff_t across = turn.fromRight ? -channels : channels;
  const std::ptrdiff_t down = turn.fromBottom ? -storedStride : storedStride;
  const std::ptrdiff_t columnStep = turn.swapped ? down : across;
  const std::ptrdiff_t rowStep = turn.swapped ? across : down;

  const std::size_t stride = std::size_t{head.width} * head.channels;
  if (columnStep == channels && rowStep == static_cast<std::ptrdiff_t>(stride) && !premultiplied) {
    return writeAll(output, first, stride * head.height);  // they lie as they are to be
  }

  // Several rows at a time: the stored rows of a turned picture are then read as they lie.
  constexpr std::uint32_t kRowsAtOnce = 16;
  std::vector<std::uint8_t> rows;
  for (std::uint32_t y = 0; y < head.height; y += kRowsAtOnce) {
    const std::uint32_t count = std::min(kRowsAtOnce, head.height - y);
    rows.resize(stride * count);
    const std::uint8_t* from = first + y * rowStep;
    if (columnStep == channels) {
      for (std::uint32_t i = 0; i < count; ++i) {
        std::memcpy(&rows[i * stride], from + i * rowStep, stride);
      }
    } else if (channels == 3) {
      copyTurned<3>(from, rowStep, columnStep, count, head.width, rows.data());
    } else {
      copyTurned<4>(from, rowStep, columnStep, count, head.width, rows.data());
    }
    if (premultiplied) unpremultiply(rows);
    if (!writeAll(output, rows.data(), rows.size())) return false;
  }
  return true;
}

bool writeStatus(DecodeStatus status, int output) {
  DecodedHead head;
  head.status = status;
  return writeAll(output, &head, sizeof head);
}

bool writePicture(GdkPixbuf* pixbuf, bool tiff, int output) {
  const Turn turn = turnOf(pixbuf);
  DecodedHead head;
  head.status = DecodeStatus::decoded;
  head.width = static_cast<std::uint32_t>(gdk_pixbuf_get_width(pixbuf));
  head.height = static_cast<std::uint32_t>(gdk_pixbuf_get_height(pixbuf));
  head.channels = static_cast<std::uint32_t>(gdk_pixbuf_get_n_channels(pixbuf));
  head.pixelsPerMetreX = pixelsPerMetre(pixbuf, "x-dpi");
  head.pixelsPerMetreY = pixelsPerMetre(pixbuf, "y-dpi");
  if (turn.swapped) {
    std::swap(head.width, head.height);
    std::swap(head.pixelsPerMetreX, head.pixelsPerMetreY);
  }
  if (gdk_pixbuf_get_bits_per_sample(pixbuf) != 8 || (head.channels != 3 && head.channels != 4)) {
    return writeStatus(DecodeStatus::damaged, output);
  }
  if (!isAllowedPicture(head.width, head.height, head.channels)) {
    return writeStatus(DecodeStatus::tooLarge, output);
  }
  const std::vector<std::uint8_t> profile = profileOf(pixbuf);
  head.profileBytes = static_cast<std::uint32_t>(profile.size());
  return writeAll(output, &head, sizeof head) && writeAll(output, profile.data(), profile.size()) &&
         writeRows(pixbuf, head, turn, tiff && head.channels == 4, output);
}

// The loader of XPM takes its data from a file that it writes, which is not possible here; but it
// also takes the lines that stand between quotation marks.
DecodeStatus loadXPM(std::span<const std::uint8_t> encoded, Pixbuf& pixbuf) {
  std::vector<std::string> lines;
  bool inside = false;
  for (const std::uint8_t byte : encoded) {
    if (byte == '"') {
      if (!inside) lines.emplace_back();
      inside = !inside;
    } else if (inside) {
      lines.back().push_back(static_cast<char>(byte));
    }
  }
  if (lines.empty() || inside) return DecodeStatus::damaged;
  std::array<std::uint64_t, 4> numbers{};  // width, height, colours, characters of a pixel
  std::istringstream head(lines.front());
  for (std::uint64_t& number : numbers) head >> number;
  const auto [width, height, colors, characters] = numbers;
  if (!head || characters > kMaxPictureSide) return DecodeStatus::damaged;
  if (!isAllowedPicture(width, height, 3)) return DecodeStatus::tooLarge;
  // It takes as many lines as the first one says.
  if (colors > lines.size() || lines.size() - colors < height + 1) return DecodeStatus::damaged;
  std::vector<const char*> pointers;
  pointers.reserve(lines.size());
  for (const std::string& line : lines) pointers.push_back(line.c_str());
  pixbuf.reset(gdk_pixbuf_new_from_xpm_data(pointers.data()));
  return pixbuf ? DecodeStatus::decoded : DecodeStatus::damaged;
}

}  // namespace

void prepareLoaders(std::string_view format, bool mayOpenLater) {
  if (!format.empty()) closeUnused(loaderFor(format));
  if (format.empty()) {
    GSList* all = gdk_pixbuf_get_formats();
    for (GSList* each = all; each != nullptr; each = each->next) {
      const std::unique_ptr<gchar, Free> name(
          gdk_pixbuf_format_get_name(static_cast<GdkPixbufFormat*>(each->data)));
      closeUnused(loaderFor(name.get()));
    }
    g_slist_free(all);
  }
  if (format != "svg" || mayOpenLater) return;
  // Pictures inside a drawing, and the fonts that a text gets when nobody chose one.
  closeUnused(loaderFor("gif"));
  closeUnused(loaderFor("webp"));
  std::string drawing = "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'>";
  for (const char* family : {"sans-serif", "serif", "monospace"}) {
    for (const char* weight : {"normal", "bold"}) {
      drawing += std::string("<text y='9' font-family='") + family + "' font-weight='" + weight +
                 "'>Aa</text>";
    }
  }
  drawing += "</svg>";
  const Loader loader = loaderFor("svg");
  Sides ignored;
  feed(loader.get(),
       std::span(reinterpret_cast<const std::uint8_t*>(drawing.data()), drawing.size()), "svg",
       ignored);
}

bool writeFormats(int output) {
  std::string text;
  GSList* all = gdk_pixbuf_get_formats();
  for (GSList* each = all; each != nullptr; each = each->next) {
    auto* format = static_cast<GdkPixbufFormat*>(each->data);
    const std::unique_ptr<gchar, Free> name(gdk_pixbuf_format_get_name(format));
    // The code for XBM writes files, which nothing here may.
    if (gdk_pixbuf_format_is_disabled(format) == FALSE && std::string_view(name.get()) != "xbm") {
      text.append(name.get()).append("\n");
    }
  }
  g_slist_free(all);
  return writeAll(output, text.data(), text.size());
}

bool decodePicture(std::span<const std::uint8_t> encoded, std::string_view format, int output) {
  if (format == "xpm") {
    Pixbuf pixbuf;
    const DecodeStatus status = loadXPM(encoded, pixbuf);
    if (status != DecodeStatus::decoded) return writeStatus(status, output);
    return writePicture(pixbuf.get(), false, output);
  }
  const Loader loader = loaderFor(format);
  Sides sides;
  g_signal_connect(loader.get(), "size-prepared", G_CALLBACK(limitSize), &sides);
  const DecodeStatus status = feed(loader.get(), encoded, format, sides);
  if (status != DecodeStatus::decoded) return writeStatus(status, output);
  GdkPixbuf* pixbuf = gdk_pixbuf_loader_get_pixbuf(loader.get());
  if (pixbuf == nullptr) return writeStatus(DecodeStatus::damaged, output);
  GdkPixbufFormat* known = gdk_pixbuf_loader_get_format(loader.get());
  const std::unique_ptr<gchar, Free> name(known != nullptr ? gdk_pixbuf_format_get_name(known)
                                                           : nullptr);
  return writePicture(pixbuf, name && std::string_view(name.get()) == "tiff", output);
}

}  // namespace korvane
