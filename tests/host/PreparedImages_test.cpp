#include "host/PreparedImages.h"

#include <gtest/gtest.h>

#include <thread>

#include "tests/support/FakeShare.h"

namespace korvane {
namespace {

class PreparedImagesTest : public ::testing::Test {
 protected:
  static NSData bytes(std::string_view text) { return {text.begin(), text.end()}; }

  PreparedImages images{std::make_shared<testing::FakeImages>()};
  PreparedPicture picture{Value(bytes("picture a")),
                          std::make_shared<Bitmap>(Bitmap{7, 5, 3, 21, {}}), bytes("ready")};
};

TEST_F(PreparedImagesTest, ThePreparedDataAndBitmapGiveTheFileOnce) {
  const PreparedScope scope(picture);
  const Value same = picture.data;
  const auto bitmap = images.decode(same.data());
  EXPECT_EQ(bitmap, picture.bitmap);
  EXPECT_EQ(images.encode(*bitmap, NSBitmapImageFileType::PNG), bytes("ready"));
  EXPECT_EQ(images.encode(*bitmap, NSBitmapImageFileType::PNG), bytes("PNG "));
}

TEST_F(PreparedImagesTest, EverythingElseIsPassedOn) {
  const PreparedScope scope(picture);
  const NSData equal = bytes("picture a");
  const auto bitmap = images.decode(equal);
  ASSERT_TRUE(bitmap);
  EXPECT_NE(bitmap, picture.bitmap);
  EXPECT_EQ(images.encode(*bitmap, NSBitmapImageFileType::PNG), bytes("PNG a"));
  EXPECT_EQ(images.encode(*picture.bitmap, NSBitmapImageFileType::TIFF), bytes("TIFF "));
}

TEST_F(PreparedImagesTest, WhatCouldNotBeDecodedIsNotTriedAgain) {
  picture.bitmap = nullptr;
  const PreparedScope scope(picture);
  std::string why;
  EXPECT_EQ(images.decode(picture.data.data(), &why), nullptr);
  EXPECT_FALSE(why.empty());
}

TEST_F(PreparedImagesTest, AnotherThreadAndAnotherTimeGetNothingPrepared) {
  {
    const PreparedScope scope(picture);
    std::thread([&] { EXPECT_NE(images.decode(picture.data.data()), picture.bitmap); }).join();
  }
  EXPECT_NE(images.decode(picture.data.data()), picture.bitmap);
}

}  // namespace
}  // namespace korvane
