#include "formats/html/ColorSpaces.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string_view>

namespace korvane {
namespace {

constexpr std::array<std::string_view, 15> kNames = {
    "srgb", "srgb-linear", "display-p3", "a98-rgb", "prophoto-rgb", "rec2020", "xyz-d50", "xyz-d65",
    "xyz",  "lab",         "lch",        "oklab",   "oklch",        "hsl",     "hwb"};

TEST(ColorSpaces, Names) {
  for (const std::string_view name : kNames) EXPECT_TRUE(findColorSpace(name)) << name;
  EXPECT_EQ(findColorSpace("OKLCH"), ColorSpace::oklch);
  EXPECT_EQ(findColorSpace("xyz"), ColorSpace::xyz65);
  for (const std::string_view name : {"", " ", "rgb", "srgb ", "cmyk"}) {
    EXPECT_FALSE(findColorSpace(name)) << name;
  }
}

TEST(ColorSpaces, Hues) {
  EXPECT_EQ(huePart(ColorSpace::hsl), 0U);
  EXPECT_EQ(huePart(ColorSpace::hwb), 0U);
  EXPECT_EQ(huePart(ColorSpace::lch), 2U);
  EXPECT_EQ(huePart(ColorSpace::oklch), 2U);
  EXPECT_EQ(huePart(ColorSpace::srgb), 3U);
  EXPECT_EQ(huePart(ColorSpace::lab), 3U);
}

// Whoever goes to a space that colours are mixed in and back is where he was.
TEST(ColorSpaces, ThereAndBack) {
  for (const std::string_view name : {"srgb", "srgb-linear", "xyz-d50", "xyz-d65", "lab", "lch",
                                      "oklab", "oklch", "hsl", "hwb"}) {
    const ColorSpace space = findColorSpace(name).value();
    for (const double red : {0.0, 0.2, 0.7, 1.0}) {
      for (const double green : {0.0, 0.4, 1.0}) {
        for (const double blue : {0.0, 0.02, 0.9, 1.0}) {
          const ColorParts color = {red, green, blue};
          const ColorParts again = toSRGB(space, fromSRGB(space, color));
          for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_NEAR(again[i], color[i], 1e-5)
                << name << ' ' << red << ' ' << green << ' ' << blue;
          }
        }
      }
    }
  }
}

TEST(ColorSpaces, WhiteAndBlackAreTheSameInAll) {
  for (const std::string_view name :
       {"srgb", "srgb-linear", "display-p3", "a98-rgb", "prophoto-rgb", "rec2020"}) {
    for (const double part : {0.0, 1.0}) {
      const ColorParts color = toSRGB(findColorSpace(name).value(), {part, part, part});
      for (const double one : color) EXPECT_NEAR(one, part, 1e-5) << name;
    }
  }
}

TEST(ColorSpaces, NothingIsWithoutAnAnswer) {
  for (const std::string_view name : kNames) {
    for (const double part : {-1e300, -1.0, 0.0, 1e300}) {
      toSRGB(findColorSpace(name).value(), {part, part, part});
      fromSRGB(findColorSpace(name).value(), {part, part, part});
    }
  }
  const ColorParts grey = fromSRGB(ColorSpace::hsl, {0.5, 0.5, 0.5});
  EXPECT_EQ(grey[0], 0);
  EXPECT_EQ(grey[1], 0);
}

}  // namespace
}  // namespace korvane
