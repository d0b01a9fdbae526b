// Reading photos and writing PNG, beside gdk-pixbuf's own saver and libspng. Every case tells the
// size of what it wrote as "bytes". An argument of KORVANE_BENCH_PHOTO (the environment) is the
// path of a JPEG to measure instead of the painted one.

#include <benchmark/benchmark.h>
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <spng.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>

#include "formats/images/PNGWriter.h"
#include "linux/detail/Images.h"
#include "support/Pictures.h"

namespace {

using namespace korvane;

GdkPixbuf* wrap(const Bitmap& bitmap) {
  return gdk_pixbuf_new_from_data(bitmap.pixels.data(), GDK_COLORSPACE_RGB, bitmap.channels == 4, 8,
                                  static_cast<int>(bitmap.width), static_cast<int>(bitmap.height),
                                  static_cast<int>(bitmap.stride), nullptr, nullptr);
}

NSData saved(const Bitmap& bitmap, const char* type, const char* option = nullptr,
             const char* value = nullptr) {
  GdkPixbuf* pixbuf = wrap(bitmap);
  gchar* buffer = nullptr;
  gsize size = 0;
  gdk_pixbuf_save_to_buffer(pixbuf, &buffer, &size, type, nullptr, option, value, nullptr);
  NSData data(buffer, buffer + size);
  g_free(buffer);
  g_object_unref(pixbuf);
  return data;
}

// A photo of 8 megapixels as a camera hands it over.
const NSData& photo() {
  static const NSData data = [] {
    if (const char* path = std::getenv("KORVANE_BENCH_PHOTO")) {
      std::ifstream file(path, std::ios::binary);
      return NSData(std::istreambuf_iterator<char>(file), {});
    }
    return saved(testing::paintLandscape(3464, 2309), "jpeg", "quality", "90");
  }();
  return data;
}

const Bitmap& photoBitmap() {
  static const std::shared_ptr<const Bitmap> bitmap = Images().decode(photo());
  return *bitmap;
}

const Bitmap& screenBitmap() {
  static const Bitmap bitmap = testing::paintScreen(2560, 1440);
  return bitmap;
}

void photoToPNG(benchmark::State& state) {
  Images images;
  photo();
  std::size_t size = 0;
  for (auto _ : state) {
    size = images.encode(*images.decode(photo()), NSBitmapImageFileType::PNG)->size();
  }
  state.counters["bytes"] = static_cast<double>(size);
}

void photoToPNGByGdkPixbuf(benchmark::State& state) {
  photo();
  std::size_t size = 0;
  for (auto _ : state) {
    GdkPixbufLoader* loader = gdk_pixbuf_loader_new();
    gdk_pixbuf_loader_write(loader, photo().data(), photo().size(), nullptr);
    gdk_pixbuf_loader_close(loader, nullptr);
    gchar* buffer = nullptr;
    gsize length = 0;
    gdk_pixbuf_save_to_buffer(gdk_pixbuf_loader_get_pixbuf(loader), &buffer, &length, "png",
                              nullptr, nullptr);
    size = length;
    g_free(buffer);
    g_object_unref(loader);
  }
  state.counters["bytes"] = static_cast<double>(size);
}

void encode(benchmark::State& state, const Bitmap& (*bitmap)()) {
  Images images;
  bitmap();
  std::size_t size = 0;
  for (auto _ : state) size = images.encode(bitmap(), NSBitmapImageFileType::PNG)->size();
  state.counters["bytes"] = static_cast<double>(size);
}

void encodeByGdkPixbuf(benchmark::State& state, const Bitmap& (*bitmap)()) {
  bitmap();
  std::size_t size = 0;
  for (auto _ : state) size = saved(bitmap(), "png").size();
  state.counters["bytes"] = static_cast<double>(size);
}

// On one thread, so that the processor times of all can be compared.
void encodeOnOneThread(benchmark::State& state, const Bitmap& (*bitmap)(), EncodingEffort effort) {
  bitmap();
  std::size_t size = 0;
  for (auto _ : state) size = writePNG(bitmap(), effort, 1)->size();
  state.counters["bytes"] = static_cast<double>(size);
}

void encodeByLibspng(benchmark::State& state, const Bitmap& (*bitmap)()) {
  const Bitmap& given = bitmap();
  std::size_t size = 0;
  for (auto _ : state) {
    spng_ctx* context = spng_ctx_new(SPNG_CTX_ENCODER);
    spng_set_option(context, SPNG_ENCODE_TO_BUFFER, 1);
    spng_ihdr header{given.width, given.height, 8, SPNG_COLOR_TYPE_TRUECOLOR, 0, 0, 0};
    if (given.channels == 4) header.color_type = SPNG_COLOR_TYPE_TRUECOLOR_ALPHA;
    spng_set_ihdr(context, &header);
    int error = spng_encode_image(context, given.pixels.data(), given.pixels.size(), SPNG_FMT_PNG,
                                  SPNG_ENCODE_FINALIZE);
    std::free(spng_get_png_buffer(context, &size, &error));
    spng_ctx_free(context);
    if (error != 0) state.SkipWithError(spng_strerror(error));
  }
  state.counters["bytes"] = static_cast<double>(size);
}

// What a picture costs beside its pixels: the process that decodes it.
void decodeSmallPicture(benchmark::State& state) {
  Images images;
  const NSData png =
      images.encode(testing::paintScreen(16, 16), NSBitmapImageFileType::PNG).value_or(NSData{});
  for (auto _ : state) benchmark::DoNotOptimize(images.decode(png));
}

void decodePhoto(benchmark::State& state) {
  Images images;
  photo();
  for (auto _ : state) benchmark::DoNotOptimize(images.decode(photo()));
}

void tiffRoundTrip(benchmark::State& state) {
  Images images;
  photoBitmap();
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        images.decode(*images.encode(photoBitmap(), NSBitmapImageFileType::TIFF)));
  }
}

BENCHMARK(photoToPNG)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(photoToPNGByGdkPixbuf)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encode, photo, photoBitmap)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(encodeByGdkPixbuf, photo, photoBitmap)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encode, screen, screenBitmap)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encodeByGdkPixbuf, screen, screenBitmap)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encodeOnOneThread, photo, photoBitmap, EncodingEffort::thorough)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encodeOnOneThread, photo_quickly, photoBitmap, EncodingEffort::quick)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encodeByLibspng, photo, photoBitmap)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encodeOnOneThread, screen, screenBitmap, EncodingEffort::thorough)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encodeByLibspng, screen, screenBitmap)->Unit(benchmark::kMillisecond);
BENCHMARK(decodeSmallPicture)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(decodePhoto)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(tiffRoundTrip)->Unit(benchmark::kMillisecond);

}  // namespace
