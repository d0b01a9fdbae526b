#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Export.h"
#include "platform/NSData.h"

namespace korvane {

/// Pixels: rows from the top, each of `stride` bytes, a pixel of `channels` bytes (3: red, green,
/// blue; 4: and alpha, not premultiplied).
struct KORVANE_EXPORT Bitmap {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t channels = 4;
  std::size_t stride = 0;
  std::vector<std::uint8_t> pixels;
  /// The ICC profile of the colours; empty: they are sRGB.
  std::vector<std::uint8_t> profile{};
  /// Pixels for each metre, across and down; 0 where it is not known.
  std::uint32_t pixelsPerMetreX = 0;
  std::uint32_t pixelsPerMetreY = 0;

  friend bool operator==(const Bitmap&, const Bitmap&) = default;
};

/// What a bitmap is written as.
enum class NSBitmapImageFileType : int { TIFF = 0, PNG = 4 };

/// How much time a file may take to be written small.
enum class EncodingEffort : int {
  thorough,  ///< as small as is reasonable
  quick,     ///< much is waiting: soon, at most 1.3 times as large
};

/// Decodes and encodes images; a service of the Platform. Any thread may call.
class KORVANE_EXPORT ImageCodec {
 public:
  virtual ~ImageCodec() = default;
  /// The installed Platform's.
  static std::shared_ptr<ImageCodec> installed();
  /// The pixels of encoded image data of any format the system knows, turned as its orientation
  /// mark says. Nothing when it cannot be decoded. An image whose dimensions ask for more memory
  /// than the codec allows is refused before it is decoded. Where there is nothing, `why` (which
  /// may be null) gets the reason: one line of UTF-8 text for people, without a full stop.
  virtual std::shared_ptr<const Bitmap> decode(const NSData& encoded,
                                               std::string* why = nullptr) = 0;
  /// The bitmap as a file of that type. Nothing when the bitmap is empty, and when the codec cannot
  /// write it or does not know the type.
  virtual std::optional<NSData> encode(const Bitmap& bitmap, NSBitmapImageFileType type,
                                       EncodingEffort effort = EncodingEffort::thorough) = 0;
};

/// A decoded picture. Immutable, cheap to copy; any thread may use it.
class KORVANE_EXPORT NSImage {
 public:
  /// The image of encoded data (PNG, JPEG, TIFF, …), nothing when it cannot be decoded.
  static std::optional<NSImage> initWithData(const NSData& data);
  /// The image of given pixels; without a bitmap it has none.
  explicit NSImage(std::shared_ptr<const Bitmap> bitmap)
      : bitmap_(bitmap ? std::move(bitmap) : std::make_shared<const Bitmap>()) {}

  /// The image as TIFF data, nothing when it cannot be encoded.
  std::optional<NSData> TIFFRepresentation() const;
  const Bitmap& bitmap() const { return *bitmap_; }

  /// Same pixels.
  friend bool operator==(const NSImage& a, const NSImage& b) {
    return a.bitmap_ == b.bitmap_ || *a.bitmap_ == *b.bitmap_;
  }

 private:
  std::shared_ptr<const Bitmap> bitmap_;
};

/// One bitmap form of an image.
class KORVANE_EXPORT NSBitmapImageRep {
 public:
  /// The bitmap of encoded data, nothing when it cannot be decoded.
  static std::optional<NSBitmapImageRep> imageRepWithData(const NSData& data);
  /// The bitmap encoded as the file type, nothing when it cannot be.
  std::optional<NSData> representationUsingType(NSBitmapImageFileType type) const;

 private:
  explicit NSBitmapImageRep(std::shared_ptr<const Bitmap> bitmap) : bitmap_(std::move(bitmap)) {}
  std::shared_ptr<const Bitmap> bitmap_;
};

}  // namespace korvane
