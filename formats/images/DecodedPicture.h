#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "platform/NSImage.h"

/// What the process that decodes pictures hands back: a head, the colour profile, and the rows of
/// pixels without anything between them. Both processes run on one machine, so numbers have its own
/// byte order.
namespace korvane {

/// The most that the pixels of one picture may take: 108 megapixels, 81 with transparency. What
/// the decoding process holds and what it hands over stay below 1 GB together.
constexpr std::uint64_t kMaxPixelBytes = 324'000'000;
constexpr std::uint32_t kMaxProfileBytes = 4 << 20;
/// Of either side.
constexpr std::uint32_t kMaxPictureSide = 1 << 24;

/// What came of the decoding.
enum class DecodeStatus : std::uint32_t {
  decoded = 1,
  notAPicture = 2,  ///< no loader on this machine knows the format
  damaged = 3,      ///< cut off, or the loader gave up
  tooLarge = 4,     ///< more pixels than allowed
  noMemory = 5,
  invalid = 6,  ///< what was handed back does not fit together
};

struct DecodedHead {
  static constexpr std::uint64_t kMagic = 0x315845504943564B;

  std::uint64_t magic = kMagic;
  DecodeStatus status = DecodeStatus::invalid;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t channels = 0;
  std::uint32_t pixelsPerMetreX = 0;
  std::uint32_t pixelsPerMetreY = 0;
  std::uint32_t profileBytes = 0;
  std::uint32_t reserved = 0;  // 0
};

constexpr std::uint64_t kMaxDecodedBytes = sizeof(DecodedHead) + kMaxProfileBytes + kMaxPixelBytes;

struct DecodedPicture {
  DecodeStatus status = DecodeStatus::invalid;
  std::shared_ptr<Bitmap> bitmap;  ///< present where the status is `decoded`, and only there
};

/// Reads what was handed back. Nothing of it is trusted: every number is checked against the limits
/// above and against the number of bytes that there are, which must be exactly those announced.
/// Throws std::bad_alloc. Any thread may call; the bytes must not change meanwhile.
DecodedPicture readDecodedPicture(std::span<const std::uint8_t> bytes);

/// Whether a picture of these sides may be decoded.
constexpr bool isAllowedPicture(std::uint64_t width, std::uint64_t height, std::uint64_t channels) {
  return width > 0 && height > 0 && width <= kMaxPictureSide && height <= kMaxPictureSide &&
         width * height <= kMaxPixelBytes / channels;
}

/// Whether this is an ICC profile for pixels of red, green and blue, as far as its head tells.
bool isProfileOfRGB(std::span<const std::uint8_t> profile);

}  // namespace korvane
