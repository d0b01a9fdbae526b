#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

/// The spaces that colours are written and mixed in (CSS Color 4). Pure: any thread may call.
namespace korvane {

/// A colour as the three parts that a space has for it: fractions where these are percentages but
/// for the lightness of Lab and LCH (to 100), hues in degrees.
using ColorParts = std::array<double, 3>;

enum class ColorSpace {
  srgb,
  linear,
  p3,
  a98,
  proPhoto,
  rec2020,
  xyz50,
  xyz65,
  lab,
  lch,
  oklab,
  oklch,
  hsl,
  hwb
};

/// The space of a name ("srgb-linear", "oklch"), in any case.
std::optional<ColorSpace> findColorSpace(std::string_view name);
/// Which part is the hue, 3 where none is.
std::size_t huePart(ColorSpace space);
/// From a space to sRGB, not cut to what that holds.
ColorParts toSRGB(ColorSpace space, ColorParts parts);
/// From sRGB to a space that colours are mixed in; for the others the parts as they are.
ColorParts fromSRGB(ColorSpace space, const ColorParts& parts);

}  // namespace korvane
