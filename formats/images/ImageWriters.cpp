#include "formats/images/ImageWriters.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <new>

namespace korvane {
namespace {

using Byte = std::uint8_t;

void appendLittleEndian(std::uint32_t number, int bytes, NSData& out) {
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<Byte>(number >> (8 * i)));
}

// Header, directory and long values of a file whose strip follows at once.
NSData tiffHead(std::uint32_t width, std::uint32_t height, std::uint32_t channels,
                std::uint32_t stripBytes) {
  constexpr std::uint32_t kShort = 3;
  constexpr std::uint32_t kLong = 4;
  struct Entry {
    std::uint32_t tag, type, count, value;
  };
  const bool alpha = channels == 4;
  const std::uint32_t entries = alpha ? 11 : 10;
  const std::uint32_t samplesAt = 8 + 2 + entries * 12 + 4;
  const std::uint32_t stripAt = samplesAt + 2 * channels;
  NSData head = {'I', 'I', 42, 0, 8, 0, 0, 0};
  appendLittleEndian(entries, 2, head);
  const std::array<Entry, 11> all = {{{256, kLong, 1, width},
                                      {257, kLong, 1, height},
                                      {258, kShort, channels, samplesAt},  // bits of each sample
                                      {259, kShort, 1, 1},                 // not compressed
                                      {262, kShort, 1, 2},                 // RGB
                                      {273, kLong, 1, stripAt},
                                      {277, kShort, 1, channels},
                                      {278, kLong, 1, height},  // rows of the strip
                                      {279, kLong, 1, stripBytes},
                                      {284, kShort, 1, 1},    // samples of a pixel together
                                      {338, kShort, 1, 2}}};  // alpha, not premultiplied
  for (std::uint32_t i = 0; i < entries; ++i) {
    appendLittleEndian(all[i].tag, 2, head);
    appendLittleEndian(all[i].type, 2, head);
    appendLittleEndian(all[i].count, 4, head);
    appendLittleEndian(all[i].value, 4, head);
  }
  appendLittleEndian(0, 4, head);  // no further directory
  for (std::uint32_t i = 0; i < channels; ++i) appendLittleEndian(8, 2, head);
  return head;
}

}  // namespace

bool fitsTogether(const Bitmap& bitmap) {
  if (bitmap.width == 0 || bitmap.height == 0 || bitmap.width > 0x7FFFFFFF ||
      bitmap.height > 0x7FFFFFFF || (bitmap.channels != 3 && bitmap.channels != 4)) {
    return false;
  }
  const std::size_t row = std::size_t{bitmap.width} * bitmap.channels;
  const std::size_t size = bitmap.pixels.size();
  return bitmap.stride >= row && size >= row &&
         (size - row) / bitmap.stride >= std::size_t{bitmap.height} - 1;
}

std::optional<NSData> writeTIFF(const Bitmap& bitmap) {
  if (!fitsTogether(bitmap)) return std::nullopt;
  const std::size_t row = std::size_t{bitmap.width} * bitmap.channels;
  constexpr std::size_t kLimit = UINT32_MAX - 1024;
  if (row > kLimit / bitmap.height) return std::nullopt;
  const std::size_t stripBytes = row * bitmap.height;
  NSData out = tiffHead(bitmap.width, bitmap.height, bitmap.channels,
                        static_cast<std::uint32_t>(stripBytes));
  out.reserve(out.size() + stripBytes);
  for (std::size_t y = 0; y < bitmap.height; ++y) {
    const Byte* from = bitmap.pixels.data() + y * bitmap.stride;
    out.insert(out.end(), from, from + row);
  }
  return out;
}

std::shared_ptr<Bitmap> readOwnTIFF(const NSData& file) {
  // Width and height are the values of the first two entries, the number of channels the count of
  // the third; then the whole head must be the one this writer makes of them.
  constexpr std::size_t kWidthAt = 18;
  constexpr std::size_t kHeightAt = 30;
  constexpr std::size_t kChannelsAt = 38;
  if (file.size() < kChannelsAt + 4) return nullptr;
  const auto number = [&](std::size_t at) {
    return static_cast<std::uint32_t>(file[at]) | static_cast<std::uint32_t>(file[at + 1]) << 8 |
           static_cast<std::uint32_t>(file[at + 2]) << 16 |
           static_cast<std::uint32_t>(file[at + 3]) << 24;
  };
  const std::uint32_t width = number(kWidthAt);
  const std::uint32_t height = number(kHeightAt);
  const std::uint32_t channels = number(kChannelsAt);
  if (width == 0 || height == 0 || (channels != 3 && channels != 4)) return nullptr;
  const std::size_t row = std::size_t{width} * channels;
  if (row > file.size() / height) return nullptr;
  const NSData head = tiffHead(width, height, channels, static_cast<std::uint32_t>(row * height));
  if (file.size() != head.size() + row * height ||
      !std::equal(head.begin(), head.end(), file.begin())) {
    return nullptr;
  }
  return std::make_shared<Bitmap>(
      Bitmap{width,
             height,
             channels,
             row,
             {file.begin() + static_cast<std::ptrdiff_t>(head.size()), file.end()}});
}

}  // namespace korvane
