#pragma once

#include <memory>
#include <optional>

#include "platform/NSImage.h"
#include "platform/Value.h"

namespace korvane {

/// A picture that was made ready before it is asked for.
struct PreparedPicture {
  Value data{};                            ///< the image data as it came
  std::shared_ptr<const Bitmap> bitmap{};  ///< stands for the picture; its pixels may be gone
  std::optional<NSData> png{};             ///< the picture as it is attached
};

/// As long as this lives, the calling thread gets a prepared picture from PreparedImages.
class PreparedScope {
 public:
  explicit PreparedScope(PreparedPicture& picture);
  ~PreparedScope();
  PreparedScope(const PreparedScope&) = delete;
  PreparedScope& operator=(const PreparedScope&) = delete;
};

/// Passes on to another codec what is not prepared: decoding the very data of the thread's
/// PreparedScope gives its bitmap, and writing that one as PNG gives its file, once. Any thread may
/// call.
class PreparedImages : public ImageCodec {
 public:
  explicit PreparedImages(std::shared_ptr<ImageCodec> images) : images_(std::move(images)) {}
  std::shared_ptr<const Bitmap> decode(const NSData& encoded, std::string* why = nullptr) override;
  std::optional<NSData> encode(const Bitmap& bitmap, NSBitmapImageFileType type,
                               EncodingEffort effort = EncodingEffort::thorough) override;

 private:
  std::shared_ptr<ImageCodec> images_;
};

}  // namespace korvane
