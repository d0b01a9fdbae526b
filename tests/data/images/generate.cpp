// Writes the samples here that need a codec, and the sample photo; in this folder:
//
//   g++ -std=c++20 -I../../.. -I../.. generate.cpp -o /tmp/generate \
//     $(pkg-config --cflags --libs gdk-pixbuf-2.0 libjpeg) && /tmp/generate

// clang-format off
#include <cstdio>
#include <jpeglib.h>
// clang-format on
#include <gdk-pixbuf/gdk-pixbuf.h>

#include <array>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "support/Pictures.h"

namespace {

using namespace korvane;
using Bytes = std::vector<unsigned char>;

void write(const std::string& name, const Bytes& bytes) {
  std::ofstream(name, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

// The JPEG of samples of 1 (grey), 3 (RGB) or 4 (CMYK, inverted as image editors write it)
// channels, with an EXIF orientation mark unless that is 0.
Bytes jpeg(const Bytes& samples, unsigned width, unsigned height, int channels, int quality,
           int orientation) {
  jpeg_compress_struct info{};
  jpeg_error_mgr errors{};
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = width;
  info.image_height = height;
  info.input_components = channels;
  info.in_color_space = channels == 1 ? JCS_GRAYSCALE : channels == 3 ? JCS_RGB : JCS_CMYK;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, quality, TRUE);
  info.optimize_coding = TRUE;
  jpeg_start_compress(&info, TRUE);
  if (orientation != 0) {
    const std::array<unsigned char, 32> exif = {
        'E', 'x',  'i',  'f', 0,
        0,   'I',  'I',  42,  0,
        8,   0,    0,    0,   1,
        0,   0x12, 0x01, 3,   0,
        1,   0,    0,    0,   static_cast<unsigned char>(orientation),
        0,   0,    0,    0,   0,
        0,   0};
    jpeg_write_marker(&info, JPEG_APP0 + 1, exif.data(), exif.size());
  }
  const std::size_t row = std::size_t{width} * static_cast<unsigned>(channels);
  while (info.next_scanline < height) {
    auto* line = const_cast<unsigned char*>(&samples[info.next_scanline * row]);
    jpeg_write_scanlines(&info, &line, 1);
  }
  jpeg_finish_compress(&info);
  Bytes out(buffer, buffer + size);
  jpeg_destroy_compress(&info);
  std::free(buffer);
  return out;
}

// How a camera stores an upright picture that is to be shown with the orientation mark.
Bytes stored(const Bitmap& upright, int orientation, unsigned& width, unsigned& height) {
  const bool swapped = orientation >= 5;
  width = swapped ? upright.height : upright.width;
  height = swapped ? upright.width : upright.height;
  Bytes out(std::size_t{width} * height * 3);
  for (unsigned y = 0; y < upright.height; ++y) {
    for (unsigned x = 0; x < upright.width; ++x) {
      const unsigned right = upright.width - 1 - x;
      const unsigned bottom = upright.height - 1 - y;
      unsigned column = 0;
      unsigned row = 0;
      switch (orientation) {
        case 2:
          column = right;
          row = y;
          break;
        case 3:
          column = right;
          row = bottom;
          break;
        case 4:
          column = x;
          row = bottom;
          break;
        case 5:
          column = y;
          row = x;
          break;
        case 6:
          column = y;
          row = right;
          break;
        case 7:
          column = bottom;
          row = right;
          break;
        case 8:
          column = bottom;
          row = x;
          break;
        default:
          column = x;
          row = y;
      }
      std::memcpy(&out[(std::size_t{row} * width + column) * 3],
                  &upright.pixels[y * upright.stride + std::size_t{x} * 3], 3);
    }
  }
  return out;
}

void save(const Bitmap& bitmap, const std::string& name, const char* type, const char* key,
          const char* value) {
  GdkPixbuf* pixbuf = gdk_pixbuf_new_from_data(
      bitmap.pixels.data(), GDK_COLORSPACE_RGB, FALSE, 8, static_cast<int>(bitmap.width),
      static_cast<int>(bitmap.height), static_cast<int>(bitmap.stride), nullptr, nullptr);
  GError* error = nullptr;
  if (gdk_pixbuf_save(pixbuf, name.c_str(), type, &error, key, value, nullptr) == FALSE) {
    std::fprintf(stderr, "%s: %s\n", name.c_str(), error->message);
  }
  g_object_unref(pixbuf);
}

}  // namespace

int main() {
  Bitmap corners{48, 32, 3, 144, Bytes(48 * 32 * 3)};
  const std::array<std::array<unsigned char, 3>, 4> colors = {
      {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 255}}};
  Bytes cmyk;
  Bytes grey;
  for (unsigned y = 0; y < 32; ++y) {
    for (unsigned x = 0; x < 48; ++x) {
      const auto& color = colors[(x >= 24 ? 1U : 0U) + (y >= 16 ? 2U : 0U)];
      std::copy(color.begin(), color.end(), &corners.pixels[y * 144 + x * 3]);
      cmyk.insert(cmyk.end(), color.begin(), color.end());
      cmyk.push_back(255);
      grey.push_back(static_cast<unsigned char>(((x >= 24 ? 1U : 0U) + (y >= 16 ? 2U : 0U)) * 80));
    }
  }
  for (int orientation = 1; orientation <= 8; ++orientation) {
    unsigned width = 0;
    unsigned height = 0;
    const Bytes samples = stored(corners, orientation, width, height);
    write("corners-" + std::to_string(orientation) + ".jpg",
          jpeg(samples, width, height, 3, 95, orientation));
  }
  write("corners-grey.jpg", jpeg(grey, 48, 32, 1, 95, 0));
  write("corners-cmyk.jpg", jpeg(cmyk, 48, 32, 4, 95, 0));
  save(corners, "corners.webp", "webp", "quality", "100");
  save(corners, "corners.tiff", "tiff", "compression", "5");
  save(corners, "corners.bmp", "bmp", nullptr, nullptr);
  save(corners, "corners.ico", "ico", nullptr, nullptr);

  unsigned width = 0;
  unsigned height = 0;
  const Bytes photo = stored(testing::paintLandscape(800, 533), 6, width, height);
  write("../../../packaging/samples/photo.jpg", jpeg(photo, width, height, 3, 72, 6));
  return 0;
}
