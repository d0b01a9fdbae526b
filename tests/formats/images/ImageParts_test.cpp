#include "formats/images/ImageParts.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "support/Places.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

using namespace std::string_literals;

std::string file(const std::string& name) {
  return testing::contentOf(KORVANE_TEST_DATA "/images/" + name);
}

std::string needed(const std::string& data, std::string_view format) {
  std::string out;
  for (const ImagePart& part :
       neededParts({reinterpret_cast<const std::uint8_t*>(data.data()), data.size()}, format)) {
    EXPECT_LE(part.begin, part.end);
    EXPECT_LE(part.end, data.size());
    out.append(data, part.begin, part.end - part.begin);
  }
  return out;
}

std::string chunk(const std::string& type, const std::string& data) {
  return std::string{0, 0, 0, static_cast<char>(data.size())} + type + data + "sum.";
}

TEST(ImageParts, APNGLosesItsTexts) {
  const std::string begin = "\x89PNG\r\n\x1A\n" + chunk("IHDR", "head");
  const std::string end = chunk("IDAT", "pixels") + chunk("IEND", "");
  const std::string profile = chunk("iCCP", "profile");
  EXPECT_EQ(needed(begin + end, "png"), begin + end);
  EXPECT_EQ(needed(begin + chunk("tEXt", "a") + profile + chunk("zTXt", "") + chunk("iTXt", "b") +
                       end + "what follows",
                   "png"),
            begin + profile + end);
}

TEST(ImageParts, AGIFKeepsItsFirstFrame) {
  const std::string one = file("corners.gif");
  EXPECT_EQ(needed(one, "gif"), one);
  const std::string two = file("corners-animated.gif");
  EXPECT_EQ(needed(two, "gif").size(), one.size());
  EXPECT_EQ(needed(two + "what follows", "gif"), needed(two, "gif"));
  std::string many = two.substr(0, two.size() - 1);
  for (int i = 0; i < 1000; ++i) many += one.substr(25, one.size() - 26);
  EXPECT_EQ(needed(many + ";", "gif"), needed(two, "gif"));
}

TEST(ImageParts, WhatIsNotBuiltAsItShouldBeComesWhole) {
  for (const char* name : {"corners.png", "corners.gif", "corners-animated.gif"}) {
    const std::string data = file(name);
    const std::string format = data[0] == 'G' ? "gif" : "png";
    for (std::size_t size = 8; size < data.size(); ++size) {
      const std::string part = data.substr(0, size);
      EXPECT_EQ(needed(part, format), part) << name << ' ' << size;
    }
  }
  EXPECT_EQ(needed("GIF89a;", "gif"), "GIF89a;");
  const std::string longer = "\x89PNG\r\n\x1A\n\xFF\xFF\xFF\xFFtEXt  sum."s;
  EXPECT_EQ(needed(longer, "png"), longer);
}

TEST(ImageParts, OtherFormatsComeWhole) {
  const std::string two = file("corners-animated.gif");
  EXPECT_EQ(needed(two, "webp"), two);
  EXPECT_EQ(needed(two, ""), two);
}

}  // namespace
}  // namespace korvane
