#include "linux/detail/Images.h"

#include <new>

#include "formats/images/ImageEnd.h"
#include "formats/images/ImageWriters.h"
#include "formats/images/PNGWriter.h"
#include "platform/detail/Translation.h"

namespace korvane {

std::shared_ptr<const Bitmap> Images::decode(const NSData& encoded, std::string* why) {
  std::string reason;
  try {
    if (auto bitmap = readOwnTIFF(encoded)) return bitmap;
    if (encoded.empty()) {
      reason = translated("there is no data");
    } else if (isCutOff(encoded)) {
      reason = translated("the picture is incomplete");
    } else if (auto bitmap = decoder_.decode(encoded, reason)) {
      return bitmap;
    }
  } catch (const std::bad_alloc&) {
    reason = translated("there is not enough memory");
  }
  if (why != nullptr) *why = std::move(reason);
  return nullptr;
}

std::optional<NSData> Images::encode(const Bitmap& bitmap, NSBitmapImageFileType type,
                                     EncodingEffort effort) try {
  switch (type) {
    case NSBitmapImageFileType::TIFF:
      return writeTIFF(bitmap);
    case NSBitmapImageFileType::PNG:
      return writePNG(bitmap, effort);
  }
  return std::nullopt;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

}  // namespace korvane
