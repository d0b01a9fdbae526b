#include "host/PreparedImages.h"

#include <utility>

#include "platform/detail/Translation.h"

namespace korvane {
namespace {

thread_local PreparedPicture* prepared = nullptr;

}  // namespace

PreparedScope::PreparedScope(PreparedPicture& picture) { prepared = &picture; }

PreparedScope::~PreparedScope() { prepared = nullptr; }

std::shared_ptr<const Bitmap> PreparedImages::decode(const NSData& encoded, std::string* why) {
  if (prepared != nullptr && &encoded == &prepared->data.data()) {
    if (!prepared->bitmap && why != nullptr) *why = translated("it was tried before");
    return prepared->bitmap;
  }
  return images_->decode(encoded, why);
}

std::optional<NSData> PreparedImages::encode(const Bitmap& bitmap, NSBitmapImageFileType type,
                                             EncodingEffort effort) {
  if (prepared != nullptr && &bitmap == prepared->bitmap.get() && prepared->png &&
      type == NSBitmapImageFileType::PNG) {
    return std::exchange(prepared->png, std::nullopt);
  }
  return images_->encode(bitmap, type, effort);
}

}  // namespace korvane
