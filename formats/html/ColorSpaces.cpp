#include "formats/html/ColorSpaces.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "text/ASCII.h"

namespace korvane {
namespace {

using Triple = ColorParts;
using Matrix = std::array<Triple, 3>;

Triple operator*(const Matrix& m, const Triple& v) {
  Triple out{};
  for (std::size_t i = 0; i < 3; ++i) out[i] = m[i][0] * v[0] + m[i][1] * v[1] + m[i][2] * v[2];
  return out;
}

// To XYZ with the white of D65, and back, from the light of each space.
constexpr Matrix kSRGBToXYZ = {{{0.4123907993, 0.3575843394, 0.1804807884},
                                {0.2126390059, 0.7151686788, 0.0721923154},
                                {0.0193308187, 0.1191947798, 0.9505321522}}};
constexpr Matrix kXYZToSRGB = {{{3.2409699419, -1.5373831776, -0.4986107603},
                                {-0.9692436363, 1.8759675015, 0.0415550574},
                                {0.0556300797, -0.2039769589, 1.0569715142}}};
constexpr Matrix kP3ToXYZ = {{{0.4865709486, 0.2656676932, 0.1982172852},
                              {0.2289745641, 0.6917385218, 0.0792869141},
                              {0, 0.0451133819, 1.0439443689}}};
constexpr Matrix kA98ToXYZ = {{{0.5766690429, 0.1855582379, 0.1882286462},
                               {0.2973449753, 0.6273635663, 0.0752914585},
                               {0.0270313614, 0.0706888525, 0.9913375368}}};
constexpr Matrix kRec2020ToXYZ = {{{0.6369580483, 0.1446169036, 0.1688809752},
                                   {0.2627002120, 0.6779980715, 0.0593017165},
                                   {0, 0.0280726930, 1.0609850577}}};
constexpr Matrix kProPhotoToXYZ50 = {{{0.7977604897, 0.1351791879, 0.0313493495},
                                      {0.2880711282, 0.7118432178, 0.0000856540},
                                      {0, 0, 0.8251046025}}};
// Between the whites of D50 and D65 (Bradford).
constexpr Matrix kD50ToD65 = {{{0.9554734528, -0.0230985369, 0.0632593087},
                               {-0.0283697070, 1.0099954580, 0.0210413990},
                               {0.0123140016, -0.0205076964, 1.3303659366}}};
constexpr Matrix kD65ToD50 = {{{1.0479298208, 0.0229467934, -0.0501922295},
                               {0.0296278156, 0.9904344845, -0.0170738250},
                               {-0.0092430581, 0.0150551448, 0.7518742899}}};
constexpr Matrix kXYZToLMS = {{{0.8190224380, 0.3619062601, -0.1288737815},
                               {0.0329836539, 0.9292868616, 0.0361446664},
                               {0.0481771893, 0.2642395317, 0.6335478284}}};
constexpr Matrix kLMSToXYZ = {{{1.2268798758, -0.5578149945, 0.2813910457},
                               {-0.0405757452, 1.1122868033, -0.0717110580},
                               {-0.0763729367, -0.4214933324, 1.5869240198}}};
constexpr Matrix kLMSToOklab = {{{0.2104542683, 0.7936177747, -0.0040720430},
                                 {1.9779985325, -2.4285922420, 0.4505937096},
                                 {0.0259040424, 0.7827717125, -0.8086757549}}};
constexpr Matrix kOklabToLMS = {{{1, 0.3963377774, 0.2158037573},
                                 {1, -0.1055613458, -0.0638541728},
                                 {1, -0.0894841775, -1.2914855480}}};
constexpr Triple kD50 = {0.9642956764, 1, 0.8251046025};

double sRGBToLight(double v) {
  const double a = std::abs(v);
  return a <= 0.04045 ? v / 12.92 : std::copysign(std::pow((a + 0.055) / 1.055, 2.4), v);
}
double lightToSRGB(double v) {
  const double a = std::abs(v);
  return a <= 0.0031308 ? v * 12.92 : std::copysign(1.055 * std::pow(a, 1 / 2.4) - 0.055, v);
}
double power(double v, double exponent) {
  return std::copysign(std::pow(std::abs(v), exponent), v);
}
template <typename F>
Triple each(Triple v, F f) {
  for (double& one : v) one = f(one);
  return v;
}

Triple fromPolar(const Triple& v) {
  const double angle = v[2] * std::numbers::pi / 180;
  return {v[0], v[1] * std::cos(angle), v[1] * std::sin(angle)};
}
Triple toPolar(const Triple& v) {
  return {v[0], std::hypot(v[1], v[2]), std::atan2(v[2], v[1]) * 180 / std::numbers::pi};
}

Triple fromHSL(const Triple& v) {
  const double hue = v[0] - std::floor(v[0] / 360) * 360;
  const auto part = [&](double n) {
    const double k = std::fmod(n + hue / 30, 12);
    return v[2] - v[1] * std::min(v[2], 1 - v[2]) * std::clamp(std::min(k - 3, 9 - k), -1.0, 1.0);
  };
  return {part(0), part(8), part(4)};
}
Triple toHSL(const Triple& v) {
  const double most = std::max({v[0], v[1], v[2]});
  const double least = std::min({v[0], v[1], v[2]});
  const double light = (most + least) / 2;
  const double range = most - least;
  if (range == 0) return {0, 0, light};
  double hue = 0;
  if (most == v[0]) {
    hue = (v[1] - v[2]) / range + (v[1] < v[2] ? 6 : 0);
  } else {
    hue = most == v[1] ? (v[2] - v[0]) / range + 2 : (v[0] - v[1]) / range + 4;
  }
  const double edge = std::min(light, 1 - light);
  return {hue * 60, edge == 0 ? 0 : (most - light) / edge, light};
}
Triple fromHWB(const Triple& v) {
  const double sum = v[1] + v[2];
  if (sum >= 1) return {v[1] / sum, v[1] / sum, v[1] / sum};
  return each(fromHSL({v[0], 1, 0.5}), [&](double part) { return part * (1 - sum) + v[1]; });
}

Triple labToXYZ50(const Triple& v) {
  const double fy = (v[0] + 16) / 116;
  const auto cube = [](double f) { return f > 6.0 / 29 ? f * f * f : (116 * f - 16) * 27 / 24389; };
  return {cube(fy + v[1] / 500) * kD50[0], cube(fy) * kD50[1], cube(fy - v[2] / 200) * kD50[2]};
}
Triple xyz50ToLab(const Triple& v) {
  const auto root = [](double t) {
    return t > 216.0 / 24389 ? std::cbrt(t) : (t * 24389 / 27 + 16) / 116;
  };
  const double fx = root(v[0] / kD50[0]);
  const double fy = root(v[1] / kD50[1]);
  const double fz = root(v[2] / kD50[2]);
  return {116 * fy - 16, 500 * (fx - fy), 200 * (fy - fz)};
}

constexpr std::array<std::pair<std::string_view, ColorSpace>, 15> kSpaces = {{
    {"srgb", ColorSpace::srgb},
    {"srgb-linear", ColorSpace::linear},
    {"display-p3", ColorSpace::p3},
    {"a98-rgb", ColorSpace::a98},
    {"prophoto-rgb", ColorSpace::proPhoto},
    {"rec2020", ColorSpace::rec2020},
    {"xyz-d50", ColorSpace::xyz50},
    {"xyz-d65", ColorSpace::xyz65},
    {"xyz", ColorSpace::xyz65},
    {"lab", ColorSpace::lab},
    {"lch", ColorSpace::lch},
    {"oklab", ColorSpace::oklab},
    {"oklch", ColorSpace::oklch},
    {"hsl", ColorSpace::hsl},
    {"hwb", ColorSpace::hwb},
}};

}  // namespace

std::optional<ColorSpace> findColorSpace(std::string_view name) {
  const auto* found = std::find_if(kSpaces.begin(), kSpaces.end(), [&](const auto& one) {
    return equalIgnoringCase(one.first, name);
  });
  if (found == kSpaces.end()) return std::nullopt;
  return found->second;
}

std::size_t huePart(ColorSpace space) {
  if (space == ColorSpace::lch || space == ColorSpace::oklch) return 2;
  return space == ColorSpace::hsl || space == ColorSpace::hwb ? 0 : 3;
}

ColorParts toSRGB(ColorSpace space, Triple v) {
  switch (space) {
    case ColorSpace::srgb:
      return v;
    case ColorSpace::hsl:
      return fromHSL(v);
    case ColorSpace::hwb:
      return fromHWB(v);
    case ColorSpace::linear:
      return each(v, lightToSRGB);
    case ColorSpace::p3:
      v = kP3ToXYZ * each(v, sRGBToLight);
      break;
    case ColorSpace::a98:
      v = kA98ToXYZ * each(v, [](double part) { return power(part, 563.0 / 256); });
      break;
    case ColorSpace::rec2020:
      v = kRec2020ToXYZ * each(v, [](double part) {
            const double a = std::abs(part);
            return a < 0.0812428583
                       ? part / 4.5
                       : std::copysign(std::pow((a + 0.0992968268) / 1.0992968268, 1 / 0.45), part);
          });
      break;
    case ColorSpace::proPhoto:
      v = kD50ToD65 * (kProPhotoToXYZ50 * each(v, [](double part) {
                         return std::abs(part) <= 16.0 / 512 ? part / 16 : power(part, 1.8);
                       }));
      break;
    case ColorSpace::xyz50:
      v = kD50ToD65 * v;
      break;
    case ColorSpace::xyz65:
      break;
    case ColorSpace::lch:
    case ColorSpace::lab:
      v = kD50ToD65 * labToXYZ50(space == ColorSpace::lch ? fromPolar(v) : v);
      break;
    case ColorSpace::oklch:
    case ColorSpace::oklab:
      v = kLMSToXYZ * each(kOklabToLMS * (space == ColorSpace::oklch ? fromPolar(v) : v),
                           [](double part) { return part * part * part; });
      break;
  }
  return each(kXYZToSRGB * v, lightToSRGB);
}

ColorParts fromSRGB(ColorSpace space, const Triple& v) {
  const Triple light = each(v, sRGBToLight);
  const auto oklab = [&] {
    return kLMSToOklab *
           each(kXYZToLMS * (kSRGBToXYZ * light), [](double part) { return std::cbrt(part); });
  };
  const auto lab = [&] { return xyz50ToLab(kD65ToD50 * (kSRGBToXYZ * light)); };
  switch (space) {
    case ColorSpace::linear:
      return light;
    case ColorSpace::xyz65:
      return kSRGBToXYZ * light;
    case ColorSpace::xyz50:
      return kD65ToD50 * (kSRGBToXYZ * light);
    case ColorSpace::lab:
      return lab();
    case ColorSpace::lch:
      return toPolar(lab());
    case ColorSpace::oklab:
      return oklab();
    case ColorSpace::oklch:
      return toPolar(oklab());
    case ColorSpace::hsl:
      return toHSL(v);
    case ColorSpace::hwb:
      return {toHSL(v)[0], std::min({v[0], v[1], v[2]}), 1 - std::max({v[0], v[1], v[2]})};
    default:
      return v;
  }
}

}  // namespace korvane
