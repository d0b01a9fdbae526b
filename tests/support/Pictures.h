#pragma once

// Painted pictures, the same on every machine: a landscape with the soft shades and the grain of a
// photo, and a screen with flat areas and text-like marks.

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "platform/NSImage.h"

namespace korvane::testing {

namespace pictures {

// A number of 0 to 1 for every point of a grid.
inline float random(std::uint32_t x, std::uint32_t y, std::uint32_t seed) {
  std::uint32_t h = x * 0x9E3779B1U ^ y * 0x85EBCA77U ^ seed * 0xC2B2AE3DU;
  h = (h ^ h >> 15) * 0x2C1B3C6DU;
  h = (h ^ h >> 12) * 0x297A2D39U;
  return static_cast<float>((h ^ h >> 15) & 0xFFFF) / 65535.0F;
}

// Smooth noise, then the sum of it at several scales.
inline float noise(float x, float y, std::uint32_t seed) {
  const float fx = std::floor(x);
  const float fy = std::floor(y);
  const auto ix = static_cast<std::uint32_t>(static_cast<std::int32_t>(fx));
  const auto iy = static_cast<std::uint32_t>(static_cast<std::int32_t>(fy));
  const float u = (x - fx) * (x - fx) * (3 - 2 * (x - fx));
  const float v = (y - fy) * (y - fy) * (3 - 2 * (y - fy));
  const float top = std::lerp(random(ix, iy, seed), random(ix + 1, iy, seed), u);
  const float bottom = std::lerp(random(ix, iy + 1, seed), random(ix + 1, iy + 1, seed), u);
  return std::lerp(top, bottom, v);
}

inline float clouds(float x, float y, std::uint32_t seed, int octaves) {
  float sum = 0;
  float weight = 0.5F;
  for (int i = 0; i < octaves; ++i, weight /= 2) {
    sum += weight * noise(x, y, seed + static_cast<std::uint32_t>(i));
    x *= 2;
    y *= 2;
  }
  return sum;
}

}  // namespace pictures

/// A lake between hills under a cloudy sky.
inline Bitmap paintLandscape(std::uint32_t width, std::uint32_t height) {
  using pictures::clouds;
  Bitmap bitmap{width, height, 3, std::size_t{width} * 3, {}};
  bitmap.pixels.resize(bitmap.stride * height);
  struct Color {
    float red, green, blue;
  };
  const auto mix = [](Color a, Color b, float t) {
    t = std::clamp(t, 0.0F, 1.0F);
    return Color{std::lerp(a.red, b.red, t), std::lerp(a.green, b.green, t),
                 std::lerp(a.blue, b.blue, t)};
  };
  const auto scale = static_cast<float>(width);
  const auto paintLand = [&](float x, float y) {
    const float sky = clouds(x * 5, y * 9, 1, 6);
    Color color = mix({92, 140, 205}, {226, 232, 238}, y * 1.6F);
    color = mix(color, {250, 246, 240}, (sky - 0.45F) * 3.5F);
    const float far = 0.30F + 0.16F * clouds(x * 4, 0, 20, 6);
    const float near = 0.38F + 0.14F * clouds(x * 6, 3, 40, 6);
    if (y > far) color = mix({108, 126, 152}, {140, 152, 158}, clouds(x * 30, y * 40, 60, 4));
    if (y > near) {
      color = mix({38, 60, 32}, {120, 128, 70}, clouds(x * 60, y * 90, 80, 5) * 1.6F - 0.3F);
    }
    return color;
  };
  constexpr float kShore = 0.47F;
  for (std::uint32_t row = 0; row < height; ++row) {
    for (std::uint32_t column = 0; column < width; ++column) {
      const float x = static_cast<float>(column) / scale;
      const float y = static_cast<float>(row) / scale;
      Color color{};
      if (y < kShore) {
        color = paintLand(x, y);
      } else {
        const float depth = y - kShore;
        const float wave = clouds(x * 22, depth * 260, 100, 4) - 0.5F;
        color = mix(paintLand(x + wave * 0.012F, kShore - depth * 1.2F + wave * 0.02F),
                    {30, 62, 84}, 0.25F + depth * 1.4F + wave * 0.3F);
      }
      const float grain = (pictures::random(column, row, 7) - 0.5F) * 16;
      std::uint8_t* pixel = &bitmap.pixels[row * bitmap.stride + std::size_t{column} * 3];
      pixel[0] = static_cast<std::uint8_t>(std::clamp(color.red + grain, 0.0F, 255.0F));
      pixel[1] = static_cast<std::uint8_t>(std::clamp(color.green + grain, 0.0F, 255.0F));
      pixel[2] = static_cast<std::uint8_t>(std::clamp(color.blue + grain, 0.0F, 255.0F));
    }
  }
  return bitmap;
}

/// A window of text lines with a side bar, on a plain ground.
inline Bitmap paintScreen(std::uint32_t width, std::uint32_t height) {
  Bitmap bitmap{width, height, 3, std::size_t{width} * 3, {}};
  bitmap.pixels.assign(bitmap.stride * height, 0xF6);
  for (std::uint32_t row = 0; row < height; ++row) {
    for (std::uint32_t column = 0; column < width; ++column) {
      std::uint8_t* pixel = &bitmap.pixels[row * bitmap.stride + std::size_t{column} * 3];
      const bool bar = column < width / 5;
      const bool title = row < 36;
      if (bar || title) {
        pixel[0] = title ? 52 : 228;
        pixel[1] = title ? 58 : 230;
        pixel[2] = title ? 64 : 234;
      }
      // Glyphs of 8 by 14 in lines of 20, some of them spaces.
      const std::uint32_t glyph = column / 8;
      const std::uint32_t line = row / 20;
      const auto letter = static_cast<std::uint32_t>(pictures::random(glyph, line, 3) * 30);
      const bool ink = letter < 25 && row % 20 < 14 && column % 8 < 7 && !title &&
                       pictures::random(column % 8, row % 20, 1000 + letter) > 0.62F &&
                       pictures::random(0, line, 5) > 0.2F;
      if (ink) std::fill_n(pixel, 3, static_cast<std::uint8_t>(bar ? 70 : 34));
    }
  }
  return bitmap;
}

}  // namespace korvane::testing
