#include "formats/images/DecodedPicture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace korvane {
namespace {

std::vector<std::uint8_t> profile(std::size_t size, const char* colors = "RGB ") {
  std::vector<std::uint8_t> bytes(size);
  bytes[2] = static_cast<std::uint8_t>(size >> 8);
  bytes[3] = static_cast<std::uint8_t>(size);
  std::memcpy(&bytes[16], colors, 4);
  std::memcpy(&bytes[36], "acsp", 4);
  return bytes;
}

std::vector<std::uint8_t> file(const DecodedHead& head, const std::vector<std::uint8_t>& icc,
                               std::size_t pixelBytes) {
  std::vector<std::uint8_t> bytes(sizeof head);
  std::memcpy(bytes.data(), &head, sizeof head);
  bytes.insert(bytes.end(), icc.begin(), icc.end());
  for (std::size_t i = 0; i < pixelBytes; ++i) bytes.push_back(static_cast<std::uint8_t>(i));
  return bytes;
}

DecodedHead head(std::uint32_t width, std::uint32_t height, std::uint32_t channels) {
  DecodedHead made;
  made.status = DecodeStatus::decoded;
  made.width = width;
  made.height = height;
  made.channels = channels;
  return made;
}

TEST(DecodedPicture, EverythingComesBack) {
  DecodedHead given = head(2, 3, 4);
  given.pixelsPerMetreX = 2835;
  given.pixelsPerMetreY = 5669;
  const auto icc = profile(200);
  given.profileBytes = 200;
  const DecodedPicture picture = readDecodedPicture(file(given, icc, 24));
  ASSERT_EQ(picture.status, DecodeStatus::decoded);
  EXPECT_EQ(picture.bitmap->width, 2U);
  EXPECT_EQ(picture.bitmap->height, 3U);
  EXPECT_EQ(picture.bitmap->stride, 8U);
  EXPECT_EQ(picture.bitmap->pixels.size(), 24U);
  EXPECT_EQ(picture.bitmap->pixels.back(), 23);
  EXPECT_EQ(picture.bitmap->profile, icc);
  EXPECT_EQ(picture.bitmap->pixelsPerMetreX, 2835U);
  EXPECT_EQ(picture.bitmap->pixelsPerMetreY, 5669U);
}

// Every bit of the head matters, or is a number that may be anything.
TEST(DecodedPicture, AChangedBitIsSeenOrHarmless) {
  const auto whole = file(head(2, 3, 3), {}, 18);
  for (std::size_t bit = 0; bit < sizeof(DecodedHead) * 8; ++bit) {
    auto changed = whole;
    changed[bit / 8] = static_cast<std::uint8_t>(changed[bit / 8] ^ 1U << bit % 8);
    const DecodedPicture picture = readDecodedPicture(changed);
    const bool resolution = bit / 32 == 6 || bit / 32 == 7;
    EXPECT_EQ(picture.status == DecodeStatus::decoded, resolution) << bit;
    EXPECT_EQ(picture.bitmap != nullptr, resolution) << bit;
  }
}

TEST(DecodedPicture, EveryOtherLengthIsRefused) {
  const auto whole = file(head(2, 3, 3), {}, 18);
  for (std::size_t size = 0; size <= whole.size() + 3; ++size) {
    auto other = whole;
    other.resize(size);
    EXPECT_EQ(readDecodedPicture(other).status == DecodeStatus::decoded, size == whole.size())
        << size;
  }
}

TEST(DecodedPicture, LimitsHold) {
  EXPECT_TRUE(isAllowedPicture(1, 1, 4));
  EXPECT_TRUE(isAllowedPicture(12000, 9000, 3));
  EXPECT_TRUE(isAllowedPicture(9000, 9000, 4));
  EXPECT_FALSE(isAllowedPicture(9000, 9001, 4));
  EXPECT_FALSE(isAllowedPicture(0, 1, 3));
  EXPECT_FALSE(isAllowedPicture(1, 0, 3));
  EXPECT_FALSE(isAllowedPicture((1U << 24) + 1, 1, 3));
  EXPECT_FALSE(isAllowedPicture(UINT64_MAX, UINT64_MAX, 3));
}

TEST(DecodedPicture, AProfileIsOneOfRGB) {
  EXPECT_TRUE(isProfileOfRGB(profile(128)));
  EXPECT_FALSE(isProfileOfRGB({}));
  EXPECT_FALSE(isProfileOfRGB(profile(200, "CMYK")));
  EXPECT_FALSE(isProfileOfRGB(profile(200, "GRAY")));
  auto wrong = profile(200);
  wrong.push_back(0);
  EXPECT_FALSE(isProfileOfRGB(wrong));
  wrong = profile(200);
  wrong[36] = 'x';
  EXPECT_FALSE(isProfileOfRGB(wrong));
}

}  // namespace
}  // namespace korvane
