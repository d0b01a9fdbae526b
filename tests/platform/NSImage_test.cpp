#include "platform/NSImage.h"

#include <gtest/gtest.h>

#include "support/TestPlatform.h"

namespace korvane {
namespace {

// "Encodes" one pixel as its bytes behind a letter that names the format.
class LetterCodec : public ImageCodec {
 public:
  std::shared_ptr<const Bitmap> decode(const NSData& encoded, std::string*) override {
    if (encoded.size() != 4) return nullptr;
    return std::make_shared<Bitmap>(Bitmap{1, 1, 3, 3, {encoded.begin() + 1, encoded.end()}});
  }
  std::optional<NSData> encode(const Bitmap& bitmap, NSBitmapImageFileType type,
                               EncodingEffort) override {
    if (bitmap.pixels.empty()) return std::nullopt;
    NSData data{static_cast<std::uint8_t>(type == NSBitmapImageFileType::PNG ? 'P' : 'T')};
    data.insert(data.end(), bitmap.pixels.begin(), bitmap.pixels.end());
    return data;
  }
};

class NSImageTest : public ::testing::Test {
 protected:
  NSImageTest() {
    platform.services.images = std::make_shared<LetterCodec>();
    platform.install();
  }
  testing::TestPlatform platform;
};

TEST_F(NSImageTest, IsDecodedAndEncodedByThePlatform) {
  const auto image = NSImage::initWithData({'x', 1, 2, 3});
  ASSERT_TRUE(image);
  EXPECT_EQ(image->bitmap().pixels, (NSData{1, 2, 3}));
  EXPECT_EQ(image->TIFFRepresentation(), (NSData{'T', 1, 2, 3}));
  EXPECT_FALSE(NSImage::initWithData({'x'}));
  EXPECT_FALSE(NSImage::initWithData({}));
}

TEST_F(NSImageTest, OneThatCannotBeEncodedGivesNothing) {
  EXPECT_FALSE(NSImage(std::make_shared<const Bitmap>()).TIFFRepresentation());
  const NSImage none(nullptr);
  EXPECT_FALSE(none.TIFFRepresentation());
  EXPECT_EQ(none.bitmap(), Bitmap());
  EXPECT_EQ(none, NSImage(nullptr));
}

TEST_F(NSImageTest, IsEqualToOneOfTheSamePixels) {
  const auto bitmap = std::make_shared<const Bitmap>(Bitmap{1, 1, 3, 3, {1, 2, 3}});
  const NSImage image(bitmap);
  EXPECT_EQ(image, NSImage(bitmap));
  EXPECT_EQ(image, *NSImage::initWithData({'x', 1, 2, 3}));
  EXPECT_FALSE(image == *NSImage::initWithData({'x', 1, 2, 4}));
}

TEST_F(NSImageTest, ARepresentationIsOfTheTypeAskedFor) {
  const auto representation = NSBitmapImageRep::imageRepWithData({'x', 1, 2, 3});
  ASSERT_TRUE(representation);
  EXPECT_EQ(representation->representationUsingType(NSBitmapImageFileType::PNG),
            (NSData{'P', 1, 2, 3}));
  EXPECT_EQ(representation->representationUsingType(NSBitmapImageFileType::TIFF),
            (NSData{'T', 1, 2, 3}));
  EXPECT_EQ(static_cast<int>(NSBitmapImageFileType::PNG), 4);
  EXPECT_FALSE(NSBitmapImageRep::imageRepWithData({}));
}

TEST(NSImageAlone, WithoutACodecNothingIsDecoded) {
  Platform::install(Platform());
  EXPECT_FALSE(NSImage::initWithData({1, 2, 3, 4}));
  EXPECT_FALSE(NSBitmapImageRep::imageRepWithData({1, 2, 3, 4}));
}

}  // namespace
}  // namespace korvane
