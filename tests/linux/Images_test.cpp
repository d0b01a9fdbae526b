#include "linux/detail/Images.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <array>
#include <chrono>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "formats/images/DecodedPicture.h"
#include "support/Pictures.h"
#include "support/Places.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

NSData file(const std::string& name) {
  const std::string content = testing::contentOf(KORVANE_TEST_DATA "/images/" + name);
  return {content.begin(), content.end()};
}

NSData bytes(std::string_view text) { return {text.begin(), text.end()}; }

// A test may have to wait for its processor longer than a person would for a picture.
Images patientImages() { return Images(ImageDecoder{.patience = std::chrono::minutes(5)}); }

using Pixel = std::array<int, 4>;

Pixel pixel(const Bitmap& bitmap, std::uint32_t x, std::uint32_t y) {
  const std::uint8_t* at = &bitmap.pixels[y * bitmap.stride + std::size_t{x} * bitmap.channels];
  return {at[0], at[1], at[2], bitmap.channels == 4 ? at[3] : 255};
}

void expectNear(const Pixel& actual, const Pixel& expected, const std::string& what) {
  for (std::size_t i = 0; i < 4; ++i) EXPECT_NEAR(actual[i], expected[i], 3) << what << ' ' << i;
}

Bitmap randomBitmap(std::uint32_t width, std::uint32_t height, std::uint32_t channels,
                    std::mt19937& random) {
  Bitmap bitmap{width, height, channels, std::size_t{width} * channels, {}};
  bitmap.pixels.resize(bitmap.stride * height);
  for (auto& sample : bitmap.pixels) sample = static_cast<std::uint8_t>(random());
  if (channels == 4) bitmap.pixels[3] = 0;  // not all opaque
  return bitmap;
}

const std::vector<std::string> kSamples = {"corners.png",
                                           "corners-16-bit.png",
                                           "corners-palette-alpha.png",
                                           "corners-1.jpg",
                                           "corners-cmyk.jpg",
                                           "corners-grey.jpg",
                                           "corners.gif",
                                           "corners-animated.gif",
                                           "corners.tiff",
                                           "corners-straight-alpha.tiff",
                                           "corners.bmp",
                                           "corners.ico",
                                           "corners.webp",
                                           "corners.svg"};

TEST(Images, EveryFormatGivesThePixelsOfItsPicture) {
  const Pixel red{255, 0, 0, 255};
  const Pixel green{0, 255, 0, 255};
  const Pixel blue{0, 0, 255, 255};
  const Pixel white{255, 255, 255, 255};
  const Pixel half{255, 255, 255, 128};
  struct Case {
    std::string name;
    Pixel topLeft, topRight, bottomLeft, bottomRight;
  };
  std::vector<Case> cases = {
      {"corners.png", red, green, blue, white},
      {"corners-16-bit.png", red, green, blue, white},
      {"corners-palette-alpha.png", red, green, blue, half},
      {"corners-cmyk.jpg", red, green, blue, white},
      {"corners.gif", red, green, blue, white},
      {"corners-animated.gif", red, green, blue, white},
      {"corners.tiff", red, green, blue, white},
      {"corners-straight-alpha.tiff", red, green, blue, half},
      {"corners-premultiplied-alpha.tiff", red, green, blue, half},
      {"corners.bmp", red, green, blue, white},
      {"corners.ico", red, green, blue, white},
      {"corners.webp", red, green, blue, white},
      {"corners.svg", red, green, blue, white},
      {"corners.tga", red, green, blue, white},
      {"corners.ppm", red, green, blue, white},
      {"corners.xpm", red, green, blue, white},
      {"corners-grey.png",
       {0, 0, 0, 255},
       {80, 80, 80, 255},
       {160, 160, 160, 255},
       {240, 240, 240, 255}},
      {"corners-grey.jpg",
       {0, 0, 0, 255},
       {80, 80, 80, 255},
       {160, 160, 160, 255},
       {240, 240, 240, 255}},
  };
  // A camera held in any way: the picture is upright.
  for (int orientation = 1; orientation <= 8; ++orientation) {
    cases.push_back({"corners-" + std::to_string(orientation) + ".jpg", red, green, blue, white});
  }
  for (const Case& one : cases) {
    const auto bitmap = patientImages().decode(file(one.name));
    ASSERT_TRUE(bitmap) << one.name;
    ASSERT_EQ(bitmap->width, 48U) << one.name;
    ASSERT_EQ(bitmap->height, 32U) << one.name;
    ASSERT_EQ(bitmap->stride, bitmap->width * bitmap->channels) << one.name;
    ASSERT_EQ(bitmap->pixels.size(), bitmap->stride * bitmap->height) << one.name;
    expectNear(pixel(*bitmap, 4, 4), one.topLeft, one.name + " top left");
    expectNear(pixel(*bitmap, 43, 4), one.topRight, one.name + " top right");
    expectNear(pixel(*bitmap, 4, 27), one.bottomLeft, one.name + " bottom left");
    expectNear(pixel(*bitmap, 43, 27), one.bottomRight, one.name + " bottom right");
  }
}

TEST(Images, WhatIsNoImageIsRefusedWithoutAWord) {
  ::testing::internal::CaptureStderr();
  for (const NSData& data :
       {NSData{}, bytes("x"),
        bytes("not an image, but long enough to be looked at as one by all "
              "who read the first hundred and twenty-eight bytes of a file"),
        NSData(1000, 0), bytes("\x89PNG\r\n\x1A\n"), bytes("\xFF\xD8\xFF"), bytes("GIF89a"),
        bytes("BM"), bytes("RIFF\xFF\xFF\xFF\xFFWEBP"), bytes("II*"), bytes("<svg"),
        bytes("<svg xmlns='http://www.w3.org/2000/svg'>")}) {
    EXPECT_FALSE(patientImages().decode(data)) << std::string(data.begin(), data.end());
  }
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;  // which needs all the address space
#else
constexpr bool kSanitized = false;
#endif

// Limits the memory of the process while it lives.
class MemoryLimit {
 public:
  explicit MemoryLimit(rlim_t bytes) {
    if (kSanitized) return;
    getrlimit(RLIMIT_AS, &before_);
    rlimit limit = before_;
    limit.rlim_cur = bytes;
    EXPECT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
  }
  ~MemoryLimit() {
    if (!kSanitized) setrlimit(RLIMIT_AS, &before_);
  }
  MemoryLimit(const MemoryLimit&) = delete;
  MemoryLimit& operator=(const MemoryLimit&) = delete;

 private:
  rlimit before_{};
};

// The data with one of its chunks, the one of this type, repeated.
NSData repeated(const NSData& data, const NSData& type, std::size_t before, std::size_t around,
                int times) {
  const auto at = std::search(data.begin(), data.end(), type.begin(), type.end()) -
                  static_cast<std::ptrdiff_t>(before);
  const std::size_t length = static_cast<std::size_t>(at[2]) << 8 | at[3];
  const auto end = at + static_cast<std::ptrdiff_t>(length + around);
  NSData out(data.begin(), at);
  for (int i = 0; i < times; ++i) out.insert(out.end(), at, end);
  out.insert(out.end(), end, data.end());
  return out;
}

TEST(Images, BombsAreRefusedBeforeTheyAreDecoded) {
  const MemoryLimit limit(std::size_t{1} << 30);
  ::testing::internal::CaptureStderr();
  for (const char* name : {"bomb.png", "bomb.jpg", "bomb-progressive.jpg", "bomb.gif",
                           "bomb-frame.gif", "bomb.bmp", "bomb.tiff", "bomb-20000.tiff",
                           "bomb.webp", "bomb.ppm", "bomb.tga", "bomb.xpm", "bomb.xbm"}) {
    EXPECT_FALSE(patientImages().decode(file(name))) << name;
  }
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

// What a decoding costs at its worst is bounded, and told.
TEST(Images, WhatUnpacksToMuchMoreCostsLittle) {
  const NSData texts = repeated(file("bomb-text.png"), bytes("zTXt"), 4, 12, 300);
  ASSERT_GT(texts.size(), 2'000'000U);
  std::string why;
  const auto bitmap = patientImages().decode(texts, &why);
  ASSERT_TRUE(bitmap) << why;
  EXPECT_EQ(bitmap->width, 48U);

  // The picture inside is left out, or the whole is refused.
  const auto drawing = patientImages().decode(file("bomb-embedded.svg"), &why);
  if (drawing) EXPECT_EQ(drawing->width, 48U);

  NSData scans = file("bomb-scans.jpg");
  const std::size_t scan = std::string(scans.begin(), scans.end()).rfind("\xFF\xDA");
  const NSData one(scans.begin() + static_cast<std::ptrdiff_t>(scan), scans.end() - 2);
  scans.resize(scans.size() - 2);
  for (int i = 0; i < 5000; ++i) scans.insert(scans.end(), one.begin(), one.end());
  scans.insert(scans.end(), {0xFF, 0xD9});
  const Images impatient(ImageDecoder{.patience = std::chrono::milliseconds(1000)});
  EXPECT_FALSE(Images(impatient).decode(scans, &why));
  EXPECT_EQ(why, "decoding the picture takes too long");

  // No process that decoded took more than it may.
  rusage children{};
  getrusage(RUSAGE_CHILDREN, &children);
  if (!kSanitized) EXPECT_LE(children.ru_maxrss, 650'000'000 / 1024);
}

TEST(Images, OfManyFramesOneIsDecoded) {
  const MemoryLimit limit(std::size_t{1} << 30);
  const auto bitmap = patientImages().decode(file("bomb-frames.gif"));
  ASSERT_TRUE(bitmap);
  EXPECT_EQ(bitmap->width, 5000U);
}

TEST(Images, DrawingsAreDrawnNoLargerThanUseful) {
  const auto bitmap = patientImages().decode(file("large.svg"));
  ASSERT_TRUE(bitmap);
  EXPECT_EQ(bitmap->width, 4096U);
  EXPECT_EQ(bitmap->height, 2048U);
  expectNear(pixel(*bitmap, 4095, 2047), {0, 255, 0, 255}, "large.svg");
}

TEST(Images, DrawingsReachNothingOutside) {
  const auto bitmap = patientImages().decode(file("links.svg"));
  ASSERT_TRUE(bitmap);
  for (std::uint32_t x = 0; x < 48; x += 6) {
    EXPECT_EQ(pixel(*bitmap, x, 4), (Pixel{255, 255, 255, 255}));
  }
  const auto text = patientImages().decode(file("entity.svg"));
  if (text) {  // refused, or without the file's text
    for (const auto sample : text->pixels) ASSERT_EQ(sample, 0);
  }
}

TEST(Images, CutOffFilesAreRefused) {
  ::testing::internal::CaptureStderr();
  for (const std::string& name : kSamples) {
    const NSData whole = file(name);
    // A drawing and a text may lack their last line break.
    const std::size_t end = name == "corners.svg" ? whole.size() - 1 : whole.size();
    for (std::size_t size = 0; size < end; size += size < 40 ? 1 : 1 + end / 40) {
      const NSData part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
      EXPECT_FALSE(patientImages().decode(part)) << name << ' ' << size;
    }
  }
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST(Images, WhatFollowsAnImageDoesNotMatter) {
  for (const char* name : {"corners.png", "corners-6.jpg", "corners.webp", "corners.bmp"}) {
    NSData data = file(name);
    data.insert(data.end(), 100, 0);
    EXPECT_TRUE(patientImages().decode(data)) << name;
  }
}

TEST(Images, DamagedFilesGiveAPictureOrNothing) {
  std::mt19937 random(30);
  Images images = patientImages();
  for (const std::string& name : kSamples) {
    const NSData whole = file(name);
    for (int round = 0; round < 20; ++round) {
      NSData damaged = whole;
      for (int flips = 0; flips < 1 + round % 4; ++flips) {
        // Mostly in the head, where it matters.
        const std::size_t at =
            random() %
            (round % 2 == 0 ? damaged.size() : std::min<std::size_t>(64, damaged.size()));
        damaged[at] = static_cast<std::uint8_t>(damaged[at] ^ 1U << random() % 8);
      }
      const auto bitmap = images.decode(damaged);
      if (!bitmap) continue;
      EXPECT_EQ(bitmap->pixels.size(), bitmap->stride * bitmap->height) << name;
      EXPECT_LE(bitmap->pixels.size(), kMaxPixelBytes);
    }
  }
}

TEST(Images, PNGKeepsEveryPixel) {
  std::mt19937 random(31);
  Images images = patientImages();
  for (std::uint32_t channels : {3U, 4U}) {
    for (const auto& [width, height] : std::vector<std::pair<std::uint32_t, std::uint32_t>>{
             {1, 1}, {1, 7}, {7, 1}, {2, 3}, {5, 5}, {16, 16}, {33, 17}, {255, 3}, {101, 67}}) {
      const Bitmap bitmap = randomBitmap(width, height, channels, random);
      const auto png = images.encode(bitmap, NSBitmapImageFileType::PNG);
      ASSERT_TRUE(png);
      const auto decoded = images.decode(*png);
      ASSERT_TRUE(decoded) << width << 'x' << height;
      EXPECT_EQ(*decoded, bitmap) << width << 'x' << height << 'x' << channels;
    }
  }
  for (const Bitmap& bitmap : {testing::paintLandscape(301, 199), testing::paintScreen(320, 200)}) {
    const auto decoded =
        images.decode(images.encode(bitmap, NSBitmapImageFileType::PNG).value_or(NSData{}));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(*decoded, bitmap);
  }
}

TEST(Images, OpaqueIsWrittenWithoutAlpha) {
  const Bitmap opaque{2, 1, 4, 8, {1, 2, 3, 255, 4, 5, 6, 255}};
  const auto decoded = patientImages().decode(
      patientImages().encode(opaque, NSBitmapImageFileType::PNG).value_or(NSData{}));
  ASSERT_TRUE(decoded);
  EXPECT_EQ(*decoded, (Bitmap{2, 1, 3, 6, {1, 2, 3, 4, 5, 6}}));
}

TEST(Images, PaddingBetweenRowsIsNotWritten) {
  const Bitmap padded{1, 2, 3, 5, {1, 2, 3, 9, 9, 4, 5, 6}};  // nor needed after the last
  const Bitmap tight{1, 2, 3, 3, {1, 2, 3, 4, 5, 6}};
  Images images = patientImages();
  EXPECT_EQ(images.encode(padded, NSBitmapImageFileType::PNG),
            images.encode(tight, NSBitmapImageFileType::PNG));
  EXPECT_EQ(images.encode(padded, NSBitmapImageFileType::TIFF),
            images.encode(tight, NSBitmapImageFileType::TIFF));
  EXPECT_EQ(*images.decode(images.encode(padded, NSBitmapImageFileType::TIFF).value_or(NSData{})),
            tight);
}

TEST(Images, TIFFKeepsEveryPixel) {
  std::mt19937 random(32);
  Images images = patientImages();
  for (std::uint32_t channels : {3U, 4U}) {
    for (const auto& [width, height] : std::vector<std::pair<std::uint32_t, std::uint32_t>>{
             {1, 1}, {1, 9}, {9, 1}, {13, 11}, {64, 65}}) {
      const Bitmap bitmap = randomBitmap(width, height, channels, random);
      const auto tiff = images.encode(bitmap, NSBitmapImageFileType::TIFF);
      ASSERT_TRUE(tiff);
      const auto decoded = images.decode(*tiff);
      ASSERT_TRUE(decoded);
      EXPECT_EQ(*decoded, bitmap);
    }
  }
}

// Another reader of TIFF sees the same: a changed file is not known as an own one.
TEST(Images, TIFFIsReadByOthers) {
  Images images = patientImages();
  const Bitmap bitmap = testing::paintLandscape(40, 30);
  NSData tiff = images.encode(bitmap, NSBitmapImageFileType::TIFF).value_or(NSData{});
  tiff.push_back(0);
  const auto decoded = images.decode(tiff);
  ASSERT_TRUE(decoded);
  ASSERT_EQ(decoded->width, 40U);
  for (std::uint32_t y = 0; y < 30; ++y) {
    for (std::uint32_t x = 0; x < 40; ++x) {
      ASSERT_EQ(pixel(*decoded, x, y), pixel(bitmap, x, y));
    }
  }
  Bitmap alpha{1, 1, 4, 4, {200, 100, 50, 128}};
  tiff = images.encode(alpha, NSBitmapImageFileType::TIFF).value_or(NSData{});
  tiff.push_back(0);
  const auto half = images.decode(tiff);
  ASSERT_TRUE(half);
  expectNear(pixel(*half, 0, 0), {200, 100, 50, 128}, "alpha");
}

TEST(Images, BitmapsThatDoNotFitTogetherAreNotWritten) {
  Images images = patientImages();
  for (const Bitmap& bitmap :
       {Bitmap{}, Bitmap{1, 1, 3, 3, {}}, Bitmap{0, 1, 3, 3, {1, 2, 3}},
        Bitmap{1, 0, 3, 3, {1, 2, 3}}, Bitmap{1, 1, 2, 2, {1, 2}},
        Bitmap{1, 1, 5, 5, {1, 2, 3, 4, 5}}, Bitmap{2, 1, 3, 3, {1, 2, 3}},
        Bitmap{1, 2, 3, 3, {1, 2, 3}}, Bitmap{1, 2, 3, 0, {1, 2, 3, 4, 5, 6}},
        Bitmap{1, 1, 4, 3, {1, 2, 3, 4}}, Bitmap{UINT32_MAX, UINT32_MAX, 4, SIZE_MAX, {1}}}) {
    EXPECT_FALSE(images.encode(bitmap, NSBitmapImageFileType::PNG));
    EXPECT_FALSE(images.encode(bitmap, NSBitmapImageFileType::TIFF));
  }
}

TEST(Images, ATypeThatNobodyKnowsIsNotWritten) {
  EXPECT_FALSE(
      patientImages().encode({1, 1, 3, 3, {1, 2, 3}}, static_cast<NSBitmapImageFileType>(1)));
}

TEST(Images, ThreadsDecodeAndEncodeSideBySide) {
  std::vector<NSData> files;
  for (const std::string& name : kSamples) files.push_back(file(name));
  Images images = patientImages();
  std::vector<std::shared_ptr<const Bitmap>> expected;
  for (const NSData& data : files) expected.push_back(images.decode(data));
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&, thread] {
      for (std::size_t i = 0; i < 3 * files.size(); ++i) {
        const std::size_t which = (i + thread * 3) % files.size();
        const auto bitmap = images.decode(files[which]);
        ASSERT_TRUE(bitmap);
        EXPECT_EQ(*bitmap, *expected[which]);
        EXPECT_TRUE(images.encode(*bitmap, NSBitmapImageFileType::PNG));
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

TEST(Images, TheSamplePhotoIsUpright) {
  std::ifstream in(KORVANE_SOURCE_DIR "/packaging/samples/photo.jpg", std::ios::binary);
  const auto photo = patientImages().decode({std::istreambuf_iterator<char>(in), {}});
  ASSERT_TRUE(photo);
  EXPECT_GT(photo->width, photo->height);
}

}  // namespace
}  // namespace korvane
