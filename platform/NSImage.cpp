#include "platform/NSImage.h"

namespace korvane {

std::optional<NSImage> NSImage::initWithData(const NSData& data) {
  auto bitmap = ImageCodec::installed()->decode(data);
  if (!bitmap) return std::nullopt;
  return NSImage(std::move(bitmap));
}

std::optional<NSData> NSImage::TIFFRepresentation() const {
  return ImageCodec::installed()->encode(*bitmap_, NSBitmapImageFileType::TIFF);
}

std::optional<NSBitmapImageRep> NSBitmapImageRep::imageRepWithData(const NSData& data) {
  auto bitmap = ImageCodec::installed()->decode(data);
  if (!bitmap) return std::nullopt;
  return NSBitmapImageRep(std::move(bitmap));
}

std::optional<NSData> NSBitmapImageRep::representationUsingType(NSBitmapImageFileType type) const {
  return ImageCodec::installed()->encode(*bitmap_, type);
}

}  // namespace korvane
