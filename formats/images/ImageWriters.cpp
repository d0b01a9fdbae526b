#include "formats/images/ImageWriters.h"

#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <new>

namespace korvane {
namespace {

using Byte = std::uint8_t;

bool isOpaque(const Bitmap& bitmap) {
  if (bitmap.channels == 3) return true;
  for (std::size_t y = 0; y < bitmap.height; ++y) {
    const Byte* row = bitmap.pixels.data() + y * bitmap.stride;
    Byte all = 255;
    for (std::size_t x = 0; x < bitmap.width; ++x) all &= row[x * 4 + 3];
    if (all != 255) return false;
  }
  return true;
}

// The four PNG filters that look at neighbours: `left` of a sample is the one a pixel before it,
// 0 at the row's beginning, so rows are handed over with a pixel of zeros before them.
enum Filter : Byte { kSub = 1, kUp = 2, kAverage = 3, kPaeth = 4 };

void applyFilter(Filter filter, const Byte* __restrict row, const Byte* __restrict above,
                 std::ptrdiff_t pixel, std::size_t count, Byte* __restrict out) {
  switch (filter) {
    case kSub:
      for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<Byte>(row[i] - (row - pixel)[i]);
      break;
    case kUp:
      for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<Byte>(row[i] - above[i]);
      break;
    case kAverage:
      for (std::size_t i = 0; i < count; ++i) {
        out[i] = static_cast<Byte>(row[i] - (((row - pixel)[i] + above[i]) >> 1));
      }
      break;
    case kPaeth:
      for (std::size_t i = 0; i < count; ++i) {
        const auto left = static_cast<std::int16_t>((row - pixel)[i]);
        const auto up = static_cast<std::int16_t>(above[i]);
        const auto corner = static_cast<std::int16_t>((above - pixel)[i]);
        const auto toLeft = static_cast<std::int16_t>(std::abs(up - corner));
        const auto toUp = static_cast<std::int16_t>(std::abs(left - corner));
        const auto toCorner = static_cast<std::int16_t>(std::abs(left + up - 2 * corner));
        const std::int16_t upOrCorner = toUp <= toCorner ? up : corner;
        const std::int16_t predicted = toLeft <= toUp && toLeft <= toCorner ? left : upOrCorner;
        out[i] = static_cast<Byte>(row[i] - predicted);
      }
      break;
  }
}

// How far the filtered samples are from 0 in all: what is small compresses well.
std::uint64_t weight(const Byte* samples, std::size_t count) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < count; ++i) {
    sum += static_cast<unsigned>(std::abs(static_cast<int>(static_cast<std::int8_t>(samples[i]))));
  }
  return sum;
}

// The rows as PNG compresses them: each with the filter that leaves least of it, the filter's
// number before it.
std::vector<Byte> filteredRows(const Bitmap& bitmap, std::size_t channels) {
  const std::size_t count = bitmap.width * channels;
  std::vector<Byte> rows((count + 1) * bitmap.height);
  const std::size_t padding = 4;
  std::vector<Byte> above(padding + count);
  std::vector<Byte> row(padding + count);
  std::vector<Byte> trial(count);
  Byte* to = rows.data();
  for (std::size_t y = 0; y < bitmap.height; ++y, to += count + 1) {
    const Byte* from = bitmap.pixels.data() + y * bitmap.stride;
    if (channels == bitmap.channels) {
      std::memcpy(&row[padding], from, count);
    } else {
      for (std::size_t x = 0; x < bitmap.width; ++x) {
        std::memcpy(&row[padding + x * 3], from + x * 4, 3);
      }
    }
    std::uint64_t least = UINT64_MAX;
    for (const Filter filter : {kSub, kUp, kAverage, kPaeth}) {
      applyFilter(filter, &row[padding], &above[padding], static_cast<std::ptrdiff_t>(channels),
                  count, trial.data());
      const std::uint64_t left = weight(trial.data(), count);
      if (left >= least) continue;
      least = left;
      to[0] = filter;
      std::memcpy(to + 1, trial.data(), count);
    }
    row.swap(above);
  }
  return rows;
}

void appendBigEndian(std::uint32_t number, NSData& out) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<Byte>(number >> shift));
}

void appendChunk(const char* type, const Byte* data, std::size_t size, NSData& out) {
  appendBigEndian(static_cast<std::uint32_t>(size), out);
  const std::size_t begin = out.size();
  out.insert(out.end(), type, type + 4);
  out.insert(out.end(), data, data + size);
  appendBigEndian(libdeflate_crc32(0, out.data() + begin, out.size() - begin), out);
}

struct FreeCompressor {
  void operator()(libdeflate_compressor* compressor) const {
    libdeflate_free_compressor(compressor);
  }
};
struct Free {
  void operator()(Byte* bytes) const { std::free(bytes); }
};

// Of libdeflate's levels, the one that comes within a few hundredths of zlib's default in size on
// photos and screens, in a fifth of its time.
constexpr int kCompressionLevel = 5;

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

std::optional<NSData> writePNG(const Bitmap& bitmap) {
  if (!fitsTogether(bitmap)) return std::nullopt;
  const bool alpha = !isOpaque(bitmap);
  std::vector<Byte> rows = filteredRows(bitmap, alpha ? 4 : 3);

  const std::unique_ptr<libdeflate_compressor, FreeCompressor> compressor(
      libdeflate_alloc_compressor(kCompressionLevel));
  if (!compressor) throw std::bad_alloc();
  const std::size_t bound = libdeflate_zlib_compress_bound(compressor.get(), rows.size());
  // Not a vector, which would touch all of it.
  const std::unique_ptr<Byte, Free> compressed(static_cast<Byte*>(std::malloc(bound)));
  if (!compressed) throw std::bad_alloc();
  const std::size_t size =
      libdeflate_zlib_compress(compressor.get(), rows.data(), rows.size(), compressed.get(), bound);
  if (size == 0) return std::nullopt;
  std::vector<Byte>().swap(rows);

  constexpr std::size_t kChunkLimit = 0x7FFFFFFF;
  NSData out = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  out.reserve(size + 64 + size / kChunkLimit * 12);
  NSData header;
  appendBigEndian(bitmap.width, header);
  appendBigEndian(bitmap.height, header);
  header.insert(header.end(), {8, static_cast<Byte>(alpha ? 6 : 2), 0, 0, 0});
  appendChunk("IHDR", header.data(), header.size(), out);
  for (std::size_t at = 0; at < size; at += kChunkLimit) {
    appendChunk("IDAT", compressed.get() + at, std::min(kChunkLimit, size - at), out);
  }
  appendChunk("IEND", nullptr, 0, out);
  return out;
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
