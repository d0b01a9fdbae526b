#include "formats/images/PNGWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "linux/detail/Images.h"
#include "support/Pictures.h"

namespace korvane {
namespace {

Bitmap randomBitmap(std::uint32_t width, std::uint32_t height, std::uint32_t channels) {
  std::mt19937 random(33);
  Bitmap bitmap{width, height, channels, std::size_t{width} * channels, {}};
  bitmap.pixels.resize(bitmap.stride * height);
  for (auto& sample : bitmap.pixels) sample = static_cast<std::uint8_t>(random());
  return bitmap;
}

/// A picture as a camera's sensor makes it: its colours change slowly, and no pixel is like the
/// next.
Bitmap noisyBitmap(std::uint32_t width, std::uint32_t height, double noise) {
  std::mt19937 random(34);
  std::normal_distribution<double> grain(0, noise);
  Bitmap bitmap{width, height, 3, std::size_t{width} * 3, {}};
  bitmap.pixels.resize(bitmap.stride * height);
  for (std::size_t i = 0; i < bitmap.pixels.size(); ++i) {
    const double colour =
        40 + 150.0 * static_cast<double>(i % bitmap.stride) / static_cast<double>(bitmap.stride);
    bitmap.pixels[i] = static_cast<std::uint8_t>(std::clamp(colour + grain(random), 0.0, 255.0));
  }
  return bitmap;
}

Bitmap decoded(const std::optional<NSData>& png) {
  std::string why;
  const auto bitmap = Images(ImageDecoder{.patience = std::chrono::minutes(5)})
                          .decode(png.value_or(NSData{}), &why);
  EXPECT_TRUE(bitmap) << why;
  return bitmap ? *bitmap : Bitmap{};
}

TEST(PNGWriter, EveryEffortAndNumberOfStripsKeepsEveryPixel) {
  std::vector<Bitmap> bitmaps;
  bitmaps.push_back(testing::paintLandscape(2048, 1600));
  bitmaps.push_back(testing::paintScreen(1920, 1700));
  bitmaps.push_back(randomBitmap(1100, 2000, 4));
  bitmaps.push_back(noisyBitmap(2600, 1700, 6));
  bitmaps.push_back(randomBitmap(1, 1, 3));
  bitmaps.push_back(randomBitmap(3, 2, 4));
  bitmaps.push_back({2048, 2048, 3, 2048 * 3, std::vector<std::uint8_t>(2048UL * 3 * 2048)});
  bitmaps.push_back(randomBitmap(900'000, 2, 3));
  bitmaps.push_back(randomBitmap(900'000, 3, 3));  // as many strips as threads would be too many
  bitmaps.push_back(randomBitmap(3, 900'000, 3));
  for (const Bitmap& bitmap : bitmaps) {
    EXPECT_EQ(decoded(writePNG(bitmap, EncodingEffort::quick)), bitmap) << bitmap.width;
    for (const unsigned threads : {1U, 2U, 3U, 16U}) {
      EXPECT_EQ(decoded(writePNG(bitmap, EncodingEffort::thorough, threads)), bitmap)
          << bitmap.width << ' ' << threads;
    }
  }
}

TEST(PNGWriter, StripsAndHasteCostLittleSize) {
  for (const Bitmap& bitmap :
       {testing::paintLandscape(2048, 1600), testing::paintScreen(2048, 1600)}) {
    const auto size = [&](EncodingEffort effort, unsigned threads) {
      return static_cast<double>(writePNG(bitmap, effort, threads).value().size());
    };
    const double one = size(EncodingEffort::thorough, 1);
    EXPECT_LT(size(EncodingEffort::thorough, 3), one * 1.01);
    EXPECT_LT(size(EncodingEffort::quick, 1), one * 1.3);
  }
}

TEST(PNGWriter, APictureWithGrainIsAsSmallWhenItIsWrittenQuickly) {
  for (const double noise : {1.0, 3.0, 4.0, 8.0, 60.0}) {
    const Bitmap bitmap = noisyBitmap(900, 700, noise);
    const auto quick = writePNG(bitmap, EncodingEffort::quick);
    EXPECT_EQ(decoded(quick), bitmap) << noise;
    const auto thorough = writePNG(bitmap, EncodingEffort::thorough, 1);
    EXPECT_LT(static_cast<double>(quick.value().size()),
              1.1 * static_cast<double>(thorough.value().size()))
        << noise;
  }
}

TEST(PNGWriter, ProfileAndResolutionAreKept) {
  Bitmap bitmap = randomBitmap(5, 4, 3);
  bitmap.profile.assign(3000, 7);
  bitmap.profile[0] = bitmap.profile[1] = 0;
  bitmap.profile[2] = 3000 >> 8;
  bitmap.profile[3] = 3000 & 255;
  std::memcpy(&bitmap.profile[8], "\4\0\0\0mntrRGB XYZ ", 16);
  std::memcpy(&bitmap.profile[36], "acsp", 4);
  bitmap.pixelsPerMetreX = 2835;
  bitmap.pixelsPerMetreY = 11811;
  const auto png = writePNG(bitmap);
  ASSERT_TRUE(png);
  const std::string text(png->begin(), png->end());
  EXPECT_LT(text.find("iCCP"), text.find("IDAT"));
  EXPECT_NE(text.find(std::string("pHYs\0\0\x0B\x13\0\0\x2E\x23\1", 13)), std::string::npos);
  const Bitmap again = decoded(png);
  EXPECT_EQ(again.pixels, bitmap.pixels);
  EXPECT_EQ(again.pixelsPerMetreX, 2835U);
  EXPECT_EQ(again.pixelsPerMetreY, 11811U);
  bitmap.pixelsPerMetreY = 0;  // one alone says nothing
  const auto without = writePNG(bitmap).value();
  EXPECT_EQ(std::string(without.begin(), without.end()).find("pHYs"), std::string::npos);
}

TEST(PNGWriter, WhatDoesNotFitTogetherIsNotWritten) {
  EXPECT_FALSE(writePNG({}));
  EXPECT_FALSE(writePNG({1, 1, 5, 5, {1, 2, 3, 4, 5}}));
  EXPECT_FALSE(writePNG({2, 1, 3, 3, {1, 2, 3}}, EncodingEffort::quick));
}

}  // namespace
}  // namespace korvane
