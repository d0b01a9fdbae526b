#pragma once

#include "platform/NSImage.h"

namespace korvane {

/// Images through gdk-pixbuf (every format that has a loader on this machine), written with
/// libdeflate. Any thread may call; decodings and encodings run side by side.
///
/// Pixels are taken as sRGB, whatever colour profile a file carries, and 16-bit samples are reduced
/// to 8.
class KORVANE_EXPORT Images : public ImageCodec {
 public:
  /// The most pixels a picture may have to be decoded: 1 GiB at four bytes each, room for the
  /// largest cameras.
  static constexpr std::uint64_t maximumPixels = std::uint64_t{1} << 28;
  /// A scalable drawing that asks for more than this in one direction is drawn smaller, its
  /// proportions kept.
  static constexpr int maximumDrawingSide = 4096;

  /// Of an animation, the first picture. Nothing for a file that is cut off, has more than
  /// maximumPixels, or takes longer than half a minute to decode (which is looked at between pieces
  /// of the file).
  std::shared_ptr<const Bitmap> decode(const NSData& encoded) override;

  /// As PNG, RGBA without any transparency is written as RGB. As TIFF, uncompressed baseline, alpha
  /// is written as it is, not premultiplied, and decode() gives back the same pixels, without
  /// padding between rows. Nothing for a bitmap whose fields do not fit together, when memory runs
  /// out, and for a TIFF of more than 4 GiB. Writing PNG needs about twice the memory of the bitmap
  /// beside it.
  std::optional<NSData> encode(const Bitmap& bitmap, NSBitmapImageFileType type) override;
};

}  // namespace korvane
