#include "platform/NSImage.h"

#include "platform/Platform.h"

namespace korvane {

std::optional<NSImage> NSImage::initWithData(const NSData& data) {
  auto bitmap = Platform::current()->images->decode(data);
  if (!bitmap) return std::nullopt;
  return NSImage(std::move(bitmap));
}

std::optional<NSData> NSImage::TIFFRepresentation() const {
  return Platform::current()->images->encodeTIFF(*bitmap_);
}

std::optional<NSBitmapImageRep> NSBitmapImageRep::imageRepWithData(const NSData& data) {
  auto bitmap = Platform::current()->images->decode(data);
  if (!bitmap) return std::nullopt;
  return NSBitmapImageRep(std::move(bitmap));
}

std::optional<NSData> NSBitmapImageRep::representationUsingType(NSBitmapImageFileType type) const {
  const auto codec = Platform::current()->images;
  return type == NSBitmapImageFileType::PNG ? codec->encodePNG(*bitmap_)
                                            : codec->encodeTIFF(*bitmap_);
}

}  // namespace korvane
