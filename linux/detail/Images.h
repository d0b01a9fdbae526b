#pragma once

#include <string>
#include <utility>

#include "linux/detail/ImageDecoder.h"
#include "platform/NSImage.h"

namespace korvane {

/// Images: decoded by gdk-pixbuf (every format that has a loader on this machine) in a confined
/// process for each, written with libdeflate. Any thread may call; decodings and encodings run side
/// by side.
///
/// A colour profile for RGB and the resolution go from the data into the bitmap and from there into
/// a PNG; 16-bit samples are reduced to 8.
class KORVANE_EXPORT Images : public ImageCodec {
 public:
  explicit Images(ImageDecoder decoder = {}) : decoder_(std::move(decoder)) {}

  /// Of an animation, the first picture. Nothing for a file that is cut off, has more pixels than
  /// are allowed (see kMaxPixelBytes), or takes longer than the decoder's patience; and where the
  /// program that decodes is missing.
  std::shared_ptr<const Bitmap> decode(const NSData& encoded, std::string* why = nullptr) override;

  /// As PNG, RGBA without any transparency is written as RGB. As TIFF, uncompressed baseline, alpha
  /// is written as it is, not premultiplied, and decode() gives back the same pixels, without
  /// padding between rows. Nothing for a bitmap whose fields do not fit together, when memory runs
  /// out, and for a TIFF of more than 4 GiB. Writing PNG needs about twice the memory of the bitmap
  /// beside it.
  std::optional<NSData> encode(const Bitmap& bitmap, NSBitmapImageFileType type,
                               EncodingEffort effort = EncodingEffort::thorough) override;

 private:
  ImageDecoder decoder_;
};

}  // namespace korvane
