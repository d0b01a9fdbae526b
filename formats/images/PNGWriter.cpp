#include "formats/images/PNGWriter.h"

#include <libdeflate.h>
#define ZLIB_CONST
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <span>
#include <thread>
#include <vector>

#include "formats/images/ImageWriters.h"

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

// The PNG filters. Those that look at neighbours: `left` of a sample is the one a pixel before it,
// 0 at the row's beginning, so rows are handed over with a pixel of zeros before them.
enum Filter : Byte { kNone = 0, kSub = 1, kUp = 2, kAverage = 3, kPaeth = 4 };
constexpr std::array kNeighbours{kSub, kUp, kAverage, kPaeth};

void applyFilter(Filter filter, const Byte* __restrict row, const Byte* __restrict above,
                 std::ptrdiff_t pixel, std::size_t count, Byte* __restrict out) {
  switch (filter) {
    case kNone:
      std::memcpy(out, row, count);
      break;
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

// The rows of a bitmap as filters want them.
class Rows {
 public:
  Rows(const Bitmap& bitmap, std::size_t channels)
      : bitmap_(bitmap),
        channels_(channels),
        above_(kPadding + bytes()),
        row_(kPadding + bytes()) {}

  // Of one row, without the filter's number.
  std::size_t bytes() const { return bitmap_.width * channels_; }

  // Goes to a row; the one above it has to be the one that was gone to before, or is read again.
  void goTo(std::size_t y) {
    if (y > 0 && y != next_) read(y - 1, above_.data() + kPadding);
    if (y > 0 && y == next_) above_.swap(row_);
    if (y == 0) std::ranges::fill(above_, Byte{0});
    read(y, row_.data() + kPadding);
    next_ = y + 1;
  }

  // Filters the row that was gone to.
  void filter(Filter with, Byte* out) const {
    applyFilter(with, row_.data() + kPadding, above_.data() + kPadding,
                static_cast<std::ptrdiff_t>(channels_), bytes(), out);
  }

 private:
  static constexpr std::size_t kPadding = 4;

  void read(std::size_t y, Byte* to) const {
    const Byte* from = bitmap_.pixels.data() + y * bitmap_.stride;
    if (channels_ == bitmap_.channels) {
      std::memcpy(to, from, bytes());
    } else {
      for (std::size_t x = 0; x < bitmap_.width; ++x) std::memcpy(to + x * 3, from + x * 4, 3);
    }
  }

  const Bitmap& bitmap_;
  std::size_t channels_;
  std::vector<Byte> above_;
  std::vector<Byte> row_;
  std::size_t next_ = 0;
};

struct FreeCompressor {
  void operator()(libdeflate_compressor* compressor) const {
    libdeflate_free_compressor(compressor);
  }
};
struct Free {
  void operator()(Byte* bytes) const { std::free(bytes); }
};

// Bytes that are not touched before they are written.
struct Buffer {
  std::unique_ptr<Byte, Free> bytes;
  std::size_t size = 0;

  void allocate(std::size_t room) {
    bytes.reset(static_cast<Byte*>(std::malloc(room)));
    if (!bytes) throw std::bad_alloc();
  }
};

// Of libdeflate's levels, the one that comes within a few hundredths of zlib's default in size on
// photos and screens, in a fifth of its time; and the one that takes least time.
constexpr int kThoroughLevel = 5;
constexpr int kQuickLevel = 1;

// Compresses at the given level; the room for `more` bytes stays behind. Nothing compressed where
// that failed.
Buffer deflated(const Byte* bytes, std::size_t size, int level, std::size_t more) {
  const std::unique_ptr<libdeflate_compressor, FreeCompressor> compressor(
      libdeflate_alloc_compressor(level));
  if (!compressor) throw std::bad_alloc();
  const std::size_t bound = libdeflate_deflate_compress_bound(compressor.get(), size);
  Buffer compressed;
  compressed.allocate(bound + more);
  compressed.size =
      libdeflate_deflate_compress(compressor.get(), bytes, size, compressed.bytes.get(), bound);
  return compressed;
}

// The same by the frequency of the bytes alone, which does not look for what comes again.
Buffer deflatedAsNoise(Byte* bytes, std::size_t size, std::size_t more) {
  constexpr int kFastest = 1;
  constexpr int kNoHeader = -15;
  constexpr int kMostMemory = 9;
  constexpr std::size_t kPiece = std::size_t{1} << 30;
  z_stream writer{};
  if (deflateInit2(&writer, kFastest, Z_DEFLATED, kNoHeader, kMostMemory, Z_HUFFMAN_ONLY) != Z_OK) {
    throw std::bad_alloc();
  }
  const std::unique_ptr<z_stream, int (*)(z_stream*)> ending(&writer, &deflateEnd);
  const std::size_t room = deflateBound(&writer, size);
  Buffer compressed;
  compressed.allocate(room + more);
  int state = Z_OK;
  for (std::size_t read = 0; state == Z_OK;) {
    if (writer.avail_in == 0) {
      writer.next_in = bytes + read;
      writer.avail_in = static_cast<uInt>(std::min(size - read, kPiece));
      read += writer.avail_in;
    }
    writer.next_out = compressed.bytes.get() + compressed.size;
    writer.avail_out = static_cast<uInt>(std::min(room - compressed.size, kPiece));
    const uInt before = writer.avail_out;
    state = deflate(&writer, read == size ? Z_FINISH : Z_NO_FLUSH);
    compressed.size += before - writer.avail_out;
  }
  if (state != Z_STREAM_END) compressed.size = 0;
  return compressed;
}

// What a picture is like.
struct Kind {
  Filter filter = kPaeth;  // the one that leaves least
  bool flat = false;       // large parts are one colour: it compresses well, and so quickly
  bool noisy = false;      // nothing in it comes again: looking for that is in vain
};

// Told from some rows here and there, compared with what that level makes of them.
bool isNoisy(Rows& rows, std::size_t height, Filter filter, int level) {
  constexpr std::size_t kPlaces = 4;
  constexpr std::size_t kRowsOfEach = 8;
  constexpr std::size_t kLargest = std::size_t{4} << 20;
  const std::size_t count = rows.bytes();
  if (kPlaces * kRowsOfEach * count > kLargest) return false;
  Buffer sample;
  sample.allocate(kPlaces * kRowsOfEach * count);
  for (std::size_t place = 0; place < kPlaces; ++place) {
    const std::size_t first = height * place / kPlaces;
    const std::size_t end = std::min(height, first + kRowsOfEach);
    for (std::size_t y = first; y < end; ++y, sample.size += count) {
      rows.goTo(y);
      rows.filter(filter, sample.bytes.get() + sample.size);
    }
  }
  // It takes half of the time, or less: a hundredth more is worth that.
  constexpr double kWorth = 1.01;
  const double found =
      static_cast<double>(deflated(sample.bytes.get(), sample.size, level, 0).size);
  return static_cast<double>(deflatedAsNoise(sample.bytes.get(), sample.size, 0).size) <=
         found * kWorth;
}

// Told from a sample of the rows.
Kind kindOf(const Bitmap& bitmap, std::size_t channels, int level) {
  constexpr std::size_t kSampled = 64;
  Rows rows(bitmap, channels);
  std::vector<Byte> trial(rows.bytes());
  std::array<std::uint64_t, 5> weights{};
  std::array<std::uint64_t, 5> same{};  // as the neighbour's
  std::uint64_t samples = 0;
  const std::size_t step = std::max<std::size_t>(1, bitmap.height / kSampled);
  for (std::size_t y = step / 2; y < bitmap.height; y += step) {
    rows.goTo(y);
    samples += trial.size();
    for (const Filter filter : kNeighbours) {
      rows.filter(filter, trial.data());
      weights[filter] += weight(trial.data(), trial.size());
      same[filter] += static_cast<std::uint64_t>(std::ranges::count(trial, Byte{0}));
    }
  }
  const auto least =
      std::ranges::min_element(kNeighbours, {}, [&](Filter filter) { return weights[filter]; });
  Kind kind{*least, same[*least] >= samples / 2};
  if (!kind.flat) kind.noisy = isNoisy(rows, bitmap.height, kind.filter, level);
  return kind;
}

// Rows of a picture, compressed on their own.
struct Strip {
  std::size_t firstRow = 0;
  std::size_t rows = 0;
  bool last = true;
  Buffer compressed{};
  std::size_t filteredBytes = 0;
  std::uint32_t checksum = 0;  // of the filtered rows
};

// Compressed data ends with a block that says so. Takes that mark away, and fills the last byte up
// with an empty block, so that more can follow.
bool continueDeflated(Buffer& data) {
  z_stream reader{};
  constexpr int kNoHeader = -15;
  if (inflateInit2(&reader, kNoHeader) != Z_OK) throw std::bad_alloc();
  std::array<Byte, std::size_t{1} << 16> scratch;
  std::size_t read = 0;
  std::size_t header = 0;  // where the block begins, in bits
  std::size_t end = 0;     // where the last one ends
  int state = Z_OK;
  while (state == Z_OK || state == Z_BUF_ERROR) {
    if (reader.avail_in == 0) {
      reader.next_in = data.bytes.get() + read;
      reader.avail_in =
          static_cast<uInt>(std::min<std::size_t>(data.size - read, std::size_t{1} << 30));
      if (reader.avail_in == 0) break;
      read += reader.avail_in;
    }
    reader.next_out = scratch.data();
    reader.avail_out = static_cast<uInt>(scratch.size());
    state = inflate(&reader, Z_BLOCK);
    constexpr int kUnusedBits = 7;
    constexpr int kInLastBlock = 64;
    constexpr int kBetweenBlocks = 128;
    if ((reader.data_type & kBetweenBlocks) == 0 && state != Z_STREAM_END) continue;
    const std::size_t at =
        (read - reader.avail_in) * 8 - static_cast<std::size_t>(reader.data_type & kUnusedBits);
    if ((reader.data_type & kInLastBlock) != 0 || state == Z_STREAM_END) {
      end = at;
      break;
    }
    header = at;
  }
  inflateEnd(&reader);
  if (end == 0 || (end + 7) / 8 != data.size) return false;
  data.bytes.get()[header / 8] &= static_cast<Byte>(~(1U << header % 8));
  // Three bits of 0: not the last block, stored. They are 0 already where the byte has room.
  if (end % 8 == 0 || end % 8 > 5) data.bytes.get()[data.size++] = 0;
  for (const Byte byte : {0x00, 0x00, 0xFF, 0xFF}) data.bytes.get()[data.size++] = byte;
  return true;
}
constexpr std::size_t kContinuationBytes = 5;

// How a picture is compressed.
struct Way {
  std::optional<Filter> only{};  // quickly, with one filter; else with the best for each row
  bool noisy = false;
};

// Filters and compresses. False where the strip could not be made to be continued.
bool compress(const Bitmap& bitmap, std::size_t channels, const Way& way, Strip& strip) {
  Rows rows(bitmap, channels);
  const std::size_t count = rows.bytes();
  strip.filteredBytes = (count + 1) * strip.rows;
  Buffer filtered;
  filtered.allocate(strip.filteredBytes);
  std::vector<Byte> trial(count);
  Byte* to = filtered.bytes.get();
  for (std::size_t y = strip.firstRow; y < strip.firstRow + strip.rows; ++y, to += count + 1) {
    rows.goTo(y);
    if (way.only) {
      to[0] = *way.only;
      rows.filter(*way.only, to + 1);
      continue;
    }
    std::uint64_t least = UINT64_MAX;
    for (const Filter filter : kNeighbours) {
      rows.filter(filter, trial.data());
      const std::uint64_t left = weight(trial.data(), count);
      if (left >= least) continue;
      least = left;
      to[0] = filter;
      std::memcpy(to + 1, trial.data(), count);
    }
  }
  strip.compressed =
      way.noisy ? deflatedAsNoise(filtered.bytes.get(), strip.filteredBytes, kContinuationBytes)
                : deflated(filtered.bytes.get(), strip.filteredBytes,
                           way.only ? kQuickLevel : kThoroughLevel, kContinuationBytes);
  strip.checksum = libdeflate_adler32(1, filtered.bytes.get(), strip.filteredBytes);
  if (strip.compressed.size == 0) return false;
  return strip.last || continueDeflated(strip.compressed);
}

// The strips of a picture. All but the last take some longer, since they have to be continued, and
// are smaller in return.
std::vector<Strip> cut(const Bitmap& bitmap, EncodingEffort effort, unsigned threads) {
  constexpr std::uint64_t kLeastPixels = 1 << 18;
  if (threads == 0) threads = std::max(1U, std::thread::hardware_concurrency());
  const std::uint64_t pixels = std::uint64_t{bitmap.width} * bitmap.height;
  std::size_t count =
      effort == EncodingEffort::quick ? 1 : std::min<std::uint64_t>(threads, pixels / kLeastPixels);
  count = std::clamp<std::size_t>(count, 1, bitmap.height);
  constexpr double kShare = 0.85;
  const double unit = bitmap.height / (kShare * static_cast<double>(count - 1) + 1);
  const std::size_t each = std::max<std::size_t>(1, static_cast<std::size_t>(unit * kShare));
  std::vector<Strip> strips(count);
  for (std::size_t i = 0; i < count; ++i) {
    strips[i].firstRow = i * each;
    strips[i].last = i + 1 == count;
    strips[i].rows = strips[i].last ? bitmap.height - i * each : each;
  }
  return strips;
}

Way wayFor(const Bitmap& bitmap, std::size_t channels, EncodingEffort effort) {
  constexpr std::uint64_t kWorthLooking = 4'000'000;  // pixels
  const bool quick = effort == EncodingEffort::quick;
  if (!quick && std::uint64_t{bitmap.width} * bitmap.height < kWorthLooking) return {};
  const Kind kind = kindOf(bitmap, channels, quick ? kQuickLevel : kThoroughLevel);
  if (kind.flat) return {};
  return {quick ? std::optional(kind.filter) : std::nullopt, kind.noisy};
}

// Compresses them side by side. False where one failed; throws what one threw.
bool compressAll(const Bitmap& bitmap, std::size_t channels, EncodingEffort effort,
                 std::vector<Strip>& strips) {
  const Way way = wayFor(bitmap, channels, effort);
  struct Outcome {
    bool good = false;
    std::exception_ptr thrown;
  };
  std::vector<Outcome> outcomes(strips.size());
  const auto run = [&](std::size_t i) noexcept {
    try {
      outcomes[i].good = compress(bitmap, channels, way, strips[i]);
    } catch (...) {
      outcomes[i].thrown = std::current_exception();
    }
  };
  std::vector<std::thread> threads;
  threads.reserve(strips.size());
  std::size_t own = 0;  // from here on, this thread's
  try {
    while (own + 1 < strips.size()) {
      threads.emplace_back(run, own);
      ++own;
    }
  } catch (const std::exception&) {  // no more threads
  }
  for (std::size_t i = own; i < strips.size(); ++i) run(i);
  for (std::thread& thread : threads) thread.join();
  for (const Outcome& outcome : outcomes) {
    if (outcome.thrown) std::rethrow_exception(outcome.thrown);
    if (!outcome.good) return false;
  }
  return true;
}

void appendBigEndian(std::uint32_t number, NSData& out) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<Byte>(number >> shift));
}

void appendChunk(const char* type, std::span<const Byte> data, NSData& out) {
  appendBigEndian(static_cast<std::uint32_t>(data.size()), out);
  const std::size_t begin = out.size();
  out.insert(out.end(), type, type + 4);
  out.insert(out.end(), data.begin(), data.end());
  appendBigEndian(libdeflate_crc32(0, out.data() + begin, out.size() - begin), out);
}

void appendProfile(const std::vector<Byte>& profile, NSData& out) {
  const std::unique_ptr<libdeflate_compressor, FreeCompressor> compressor(
      libdeflate_alloc_compressor(kThoroughLevel));
  if (!compressor) throw std::bad_alloc();
  NSData chunk{'I', 'C', 'C', 0, 0};  // a name, and how it is compressed
  const std::size_t begin = chunk.size();
  chunk.resize(begin + libdeflate_zlib_compress_bound(compressor.get(), profile.size()));
  chunk.resize(begin + libdeflate_zlib_compress(compressor.get(), profile.data(), profile.size(),
                                                chunk.data() + begin, chunk.size() - begin));
  appendChunk("iCCP", chunk, out);
}

void appendHead(const Bitmap& bitmap, bool alpha, NSData& out) {
  NSData header;
  appendBigEndian(bitmap.width, header);
  appendBigEndian(bitmap.height, header);
  header.insert(header.end(), {8, static_cast<Byte>(alpha ? 6 : 2), 0, 0, 0});
  appendChunk("IHDR", header, out);
  if (!bitmap.profile.empty()) appendProfile(bitmap.profile, out);
  if (bitmap.pixelsPerMetreX == 0 || bitmap.pixelsPerMetreY == 0) return;
  NSData resolution;
  appendBigEndian(bitmap.pixelsPerMetreX, resolution);
  appendBigEndian(bitmap.pixelsPerMetreY, resolution);
  resolution.push_back(1);  // for each metre
  appendChunk("pHYs", resolution, out);
}

}  // namespace

std::optional<NSData> writePNG(const Bitmap& bitmap, EncodingEffort effort, unsigned threads) {
  if (!fitsTogether(bitmap)) return std::nullopt;
  const bool alpha = !isOpaque(bitmap);
  std::vector<Strip> strips = cut(bitmap, effort, threads);
  if (!compressAll(bitmap, alpha ? 4 : 3, effort, strips)) return std::nullopt;

  NSData out = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  std::size_t room = 256 + bitmap.profile.size();
  for (const Strip& strip : strips) room += strip.compressed.size + 32;
  out.reserve(room);
  appendHead(bitmap, alpha, out);
  appendChunk("IDAT", std::array<Byte, 2>{0x78, 0x5E}, out);  // how zlib's data begins
  uLong checksum = adler32(0, nullptr, 0);
  for (Strip& strip : strips) {
    constexpr std::size_t kMaxChunk = 0x7FFFFFFF;
    const std::span<const Byte> bytes(strip.compressed.bytes.get(), strip.compressed.size);
    for (std::size_t at = 0; at < bytes.size(); at += kMaxChunk) {
      appendChunk("IDAT", bytes.subspan(at, std::min(kMaxChunk, bytes.size() - at)), out);
    }
    checksum = adler32_combine(checksum, strip.checksum, static_cast<z_off_t>(strip.filteredBytes));
    strip.compressed.bytes.reset();
  }
  NSData end;
  appendBigEndian(static_cast<std::uint32_t>(checksum), end);
  appendChunk("IDAT", end, out);
  appendChunk("IEND", {}, out);
  return out;
}

}  // namespace korvane
