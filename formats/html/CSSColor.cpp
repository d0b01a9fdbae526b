#include "formats/html/CSSColor.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <numbers>
#include <utility>
#include <vector>

#include "formats/html/CSSWords.h"
#include "text/ASCII.h"

namespace korvane {
namespace {

struct NamedColor {
  std::string_view name;
  std::uint32_t color;
};

// Sorted by name.
// clang-format off
constexpr std::array<NamedColor, 148> kNames = {{
    {"aliceblue", 0xF0F8FF}, {"antiquewhite", 0xFAEBD7}, {"aqua", 0x00FFFF},
    {"aquamarine", 0x7FFFD4}, {"azure", 0xF0FFFF}, {"beige", 0xF5F5DC}, {"bisque", 0xFFE4C4},
    {"black", 0x000000}, {"blanchedalmond", 0xFFEBCD}, {"blue", 0x0000FF}, {"blueviolet", 0x8A2BE2},
    {"brown", 0xA52A2A}, {"burlywood", 0xDEB887}, {"cadetblue", 0x5F9EA0}, {"chartreuse", 0x7FFF00},
    {"chocolate", 0xD2691E}, {"coral", 0xFF7F50}, {"cornflowerblue", 0x6495ED},
    {"cornsilk", 0xFFF8DC}, {"crimson", 0xDC143C}, {"cyan", 0x00FFFF}, {"darkblue", 0x00008B},
    {"darkcyan", 0x008B8B}, {"darkgoldenrod", 0xB8860B}, {"darkgray", 0xA9A9A9},
    {"darkgreen", 0x006400}, {"darkgrey", 0xA9A9A9}, {"darkkhaki", 0xBDB76B},
    {"darkmagenta", 0x8B008B}, {"darkolivegreen", 0x556B2F}, {"darkorange", 0xFF8C00},
    {"darkorchid", 0x9932CC}, {"darkred", 0x8B0000}, {"darksalmon", 0xE9967A},
    {"darkseagreen", 0x8FBC8F}, {"darkslateblue", 0x483D8B}, {"darkslategray", 0x2F4F4F},
    {"darkslategrey", 0x2F4F4F}, {"darkturquoise", 0x00CED1}, {"darkviolet", 0x9400D3},
    {"deeppink", 0xFF1493}, {"deepskyblue", 0x00BFFF}, {"dimgray", 0x696969}, {"dimgrey", 0x696969},
    {"dodgerblue", 0x1E90FF}, {"firebrick", 0xB22222}, {"floralwhite", 0xFFFAF0},
    {"forestgreen", 0x228B22}, {"fuchsia", 0xFF00FF}, {"gainsboro", 0xDCDCDC},
    {"ghostwhite", 0xF8F8FF}, {"gold", 0xFFD700}, {"goldenrod", 0xDAA520}, {"gray", 0x808080},
    {"green", 0x008000}, {"greenyellow", 0xADFF2F}, {"grey", 0x808080}, {"honeydew", 0xF0FFF0},
    {"hotpink", 0xFF69B4}, {"indianred", 0xCD5C5C}, {"indigo", 0x4B0082}, {"ivory", 0xFFFFF0},
    {"khaki", 0xF0E68C}, {"lavender", 0xE6E6FA}, {"lavenderblush", 0xFFF0F5},
    {"lawngreen", 0x7CFC00}, {"lemonchiffon", 0xFFFACD}, {"lightblue", 0xADD8E6},
    {"lightcoral", 0xF08080}, {"lightcyan", 0xE0FFFF}, {"lightgoldenrodyellow", 0xFAFAD2},
    {"lightgray", 0xD3D3D3}, {"lightgreen", 0x90EE90}, {"lightgrey", 0xD3D3D3},
    {"lightpink", 0xFFB6C1}, {"lightsalmon", 0xFFA07A}, {"lightseagreen", 0x20B2AA},
    {"lightskyblue", 0x87CEFA}, {"lightslategray", 0x778899}, {"lightslategrey", 0x778899},
    {"lightsteelblue", 0xB0C4DE}, {"lightyellow", 0xFFFFE0}, {"lime", 0x00FF00},
    {"limegreen", 0x32CD32}, {"linen", 0xFAF0E6}, {"magenta", 0xFF00FF}, {"maroon", 0x800000},
    {"mediumaquamarine", 0x66CDAA}, {"mediumblue", 0x0000CD}, {"mediumorchid", 0xBA55D3},
    {"mediumpurple", 0x9370DB}, {"mediumseagreen", 0x3CB371}, {"mediumslateblue", 0x7B68EE},
    {"mediumspringgreen", 0x00FA9A}, {"mediumturquoise", 0x48D1CC}, {"mediumvioletred", 0xC71585},
    {"midnightblue", 0x191970}, {"mintcream", 0xF5FFFA}, {"mistyrose", 0xFFE4E1},
    {"moccasin", 0xFFE4B5}, {"navajowhite", 0xFFDEAD}, {"navy", 0x000080}, {"oldlace", 0xFDF5E6},
    {"olive", 0x808000}, {"olivedrab", 0x6B8E23}, {"orange", 0xFFA500}, {"orangered", 0xFF4500},
    {"orchid", 0xDA70D6}, {"palegoldenrod", 0xEEE8AA}, {"palegreen", 0x98FB98},
    {"paleturquoise", 0xAFEEEE}, {"palevioletred", 0xDB7093}, {"papayawhip", 0xFFEFD5},
    {"peachpuff", 0xFFDAB9}, {"peru", 0xCD853F}, {"pink", 0xFFC0CB}, {"plum", 0xDDA0DD},
    {"powderblue", 0xB0E0E6}, {"purple", 0x800080}, {"rebeccapurple", 0x663399}, {"red", 0xFF0000},
    {"rosybrown", 0xBC8F8F}, {"royalblue", 0x4169E1}, {"saddlebrown", 0x8B4513},
    {"salmon", 0xFA8072}, {"sandybrown", 0xF4A460}, {"seagreen", 0x2E8B57}, {"seashell", 0xFFF5EE},
    {"sienna", 0xA0522D}, {"silver", 0xC0C0C0}, {"skyblue", 0x87CEEB}, {"slateblue", 0x6A5ACD},
    {"slategray", 0x708090}, {"slategrey", 0x708090}, {"snow", 0xFFFAFA}, {"springgreen", 0x00FF7F},
    {"steelblue", 0x4682B4}, {"tan", 0xD2B48C}, {"teal", 0x008080}, {"thistle", 0xD8BFD8},
    {"tomato", 0xFF6347}, {"turquoise", 0x40E0D0}, {"violet", 0xEE82EE}, {"wheat", 0xF5DEB3},
    {"white", 0xFFFFFF}, {"whitesmoke", 0xF5F5F5}, {"yellow", 0xFFFF00}, {"yellowgreen", 0x9ACD32},
}};
// clang-format on

using Triple = std::array<double, 3>;
using Matrix = std::array<Triple, 3>;

constexpr int kMaxDepth = 4;  // of mixes in mixes

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

enum class Space {
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

constexpr std::array<std::pair<std::string_view, Space>, 15> kSpaces = {{
    {"srgb", Space::srgb},
    {"srgb-linear", Space::linear},
    {"display-p3", Space::p3},
    {"a98-rgb", Space::a98},
    {"prophoto-rgb", Space::proPhoto},
    {"rec2020", Space::rec2020},
    {"xyz-d50", Space::xyz50},
    {"xyz-d65", Space::xyz65},
    {"xyz", Space::xyz65},
    {"lab", Space::lab},
    {"lch", Space::lch},
    {"oklab", Space::oklab},
    {"oklch", Space::oklch},
    {"hsl", Space::hsl},
    {"hwb", Space::hwb},
}};

// Which part is the hue, 3 where there is none.
std::size_t hueOf(Space space) {
  if (space == Space::lch || space == Space::oklch) return 2;
  return space == Space::hsl || space == Space::hwb ? 0 : 3;
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

// From a space to sRGB, not cut to what it holds.
Triple toSRGB(Space space, Triple v) {
  switch (space) {
    case Space::srgb:
      return v;
    case Space::hsl:
      return fromHSL(v);
    case Space::hwb:
      return fromHWB(v);
    case Space::linear:
      return each(v, lightToSRGB);
    case Space::p3:
      v = kP3ToXYZ * each(v, sRGBToLight);
      break;
    case Space::a98:
      v = kA98ToXYZ * each(v, [](double part) { return power(part, 563.0 / 256); });
      break;
    case Space::rec2020:
      v = kRec2020ToXYZ * each(v, [](double part) {
            const double a = std::abs(part);
            return a < 0.0812428583
                       ? part / 4.5
                       : std::copysign(std::pow((a + 0.0992968268) / 1.0992968268, 1 / 0.45), part);
          });
      break;
    case Space::proPhoto:
      v = kD50ToD65 * (kProPhotoToXYZ50 * each(v, [](double part) {
                         return std::abs(part) <= 16.0 / 512 ? part / 16 : power(part, 1.8);
                       }));
      break;
    case Space::xyz50:
      v = kD50ToD65 * v;
      break;
    case Space::xyz65:
      break;
    case Space::lch:
    case Space::lab:
      v = kD50ToD65 * labToXYZ50(space == Space::lch ? fromPolar(v) : v);
      break;
    case Space::oklch:
    case Space::oklab:
      v = kLMSToXYZ * each(kOklabToLMS * (space == Space::oklch ? fromPolar(v) : v),
                           [](double part) { return part * part * part; });
      break;
  }
  return each(kXYZToSRGB * v, lightToSRGB);
}

// Only for spaces that colours are mixed in; others count as sRGB.
Triple fromSRGB(Space space, const Triple& v) {
  const Triple light = each(v, sRGBToLight);
  const auto oklab = [&] {
    return kLMSToOklab *
           each(kXYZToLMS * (kSRGBToXYZ * light), [](double part) { return std::cbrt(part); });
  };
  const auto lab = [&] { return xyz50ToLab(kD65ToD50 * (kSRGBToXYZ * light)); };
  switch (space) {
    case Space::linear:
      return light;
    case Space::xyz65:
      return kSRGBToXYZ * light;
    case Space::xyz50:
      return kD65ToD50 * (kSRGBToXYZ * light);
    case Space::lab:
      return lab();
    case Space::lch:
      return toPolar(lab());
    case Space::oklab:
      return oklab();
    case Space::oklch:
      return toPolar(oklab());
    case Space::hsl:
      return toHSL(v);
    case Space::hwb:
      return {toHSL(v)[0], std::min({v[0], v[1], v[2]}), 1 - std::max({v[0], v[1], v[2]})};
    default:
      return v;
  }
}

CSSColor makeColor(const Triple& v, double alpha) {
  const auto cut = [](double part) {
    return std::isfinite(part) ? std::clamp(part, 0.0, 1.0) : 0.0;
  };
  return {cut(v[0]), cut(v[1]), cut(v[2]), cut(alpha)};
}

// A number with what stands behind it.
struct Number {
  double value = 0;
  std::string_view unit;  // "%", "deg", …
};

std::optional<Number> readNumber(std::string_view text) {
  if (equalIgnoringCase(text, "none")) return Number{};
  if (text.starts_with('+')) text.remove_prefix(1);
  Number number;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number.value);
  if (error != std::errc() || !std::isfinite(number.value)) return std::nullopt;
  number.unit = text.substr(static_cast<std::size_t>(end - text.data()));
  return number;
}

// A part that is a number, or a percentage of `whole`.
std::optional<double> readPart(std::string_view text, double whole, double scale = 1) {
  const auto number = readNumber(text);
  if (!number) return std::nullopt;
  if (number->unit == "%") return number->value / 100 * whole;
  if (!number->unit.empty()) return std::nullopt;
  return number->value * scale;
}

std::optional<double> readHue(std::string_view text) {
  const auto number = readNumber(text);
  if (!number) return std::nullopt;
  const std::string unit = lowercase(number->unit);
  if (unit.empty() || unit == "deg") return number->value;
  if (unit == "turn") return number->value * 360;
  if (unit == "rad") return number->value * 180 / std::numbers::pi;
  if (unit == "grad") return number->value * 0.9;
  return std::nullopt;
}

std::optional<CSSColor> readColor(std::string_view text, int depth);

std::optional<CSSColor> readHex(std::string_view digits) {
  if (!std::all_of(digits.begin(), digits.end(), isHexDigit)) return std::nullopt;
  const bool isShort = digits.size() == 3 || digits.size() == 4;
  if (!isShort && digits.size() != 6 && digits.size() != 8) return std::nullopt;
  std::array<double, 4> parts = {0, 0, 0, 1};
  const std::size_t count = isShort ? digits.size() : digits.size() / 2;
  for (std::size_t i = 0; i < count; ++i) {
    const unsigned high = hexDigitValue(digits[isShort ? i : 2 * i]);
    const unsigned low = hexDigitValue(digits[isShort ? i : 2 * i + 1]);
    parts[i] = (high * 16 + low) / 255.0;
  }
  return CSSColor{parts[0], parts[1], parts[2], parts[3]};
}

// The parts of a function, separated by spaces or commas, and what follows the "/" as the fourth.
std::vector<std::string_view> partsOf(std::string_view arguments) {
  std::vector<std::string_view> parts;
  std::size_t at = 0;
  while (at < arguments.size() && parts.size() < 8) {
    const std::size_t begin = arguments.find_first_not_of(" ,/", at);
    if (begin == arguments.npos) break;
    at = std::min(arguments.find_first_of(" ,/", begin), arguments.size());
    parts.push_back(arguments.substr(begin, at - begin));
  }
  return parts;
}

std::optional<double> readAlpha(const std::vector<std::string_view>& parts) {
  if (parts.size() == 3) return 1;
  return readPart(parts[3], 1);
}

std::optional<CSSColor> readPlain(const std::string& name, std::string_view arguments) {
  std::vector<std::string_view> parts = partsOf(arguments);
  Space space = Space::srgb;
  Triple whole = {1, 1, 1};
  Triple scale = {1, 1, 1};
  if (name == "color") {
    if (parts.empty()) return std::nullopt;
    const std::string wanted = lowercase(parts[0]);
    const auto* found = std::find_if(kSpaces.begin(), kSpaces.begin() + 9,
                                     [&](const auto& one) { return one.first == wanted; });
    if (found == kSpaces.begin() + 9) return std::nullopt;
    space = found->second;
    parts.erase(parts.begin());
  } else if (name == "rgb" || name == "rgba") {
    scale = {1 / 255.0, 1 / 255.0, 1 / 255.0};
  } else if (name == "hsl" || name == "hsla" || name == "hwb") {
    space = name == "hwb" ? Space::hwb : Space::hsl;
    scale = {1, 0.01, 0.01};
  } else if (name == "lab" || name == "lch") {
    space = name == "lab" ? Space::lab : Space::lch;
    whole = name == "lab" ? Triple{100, 125, 125} : Triple{100, 150, 0};
  } else if (name == "oklab" || name == "oklch") {
    space = name == "oklab" ? Space::oklab : Space::oklch;
    whole = {1, 0.4, 0.4};
  } else {
    return std::nullopt;
  }
  if (parts.size() != 3 && parts.size() != 4) return std::nullopt;
  Triple v{};
  for (std::size_t i = 0; i < 3; ++i) {
    const auto part =
        i == hueOf(space) ? readHue(parts[i]) : readPart(parts[i], whole[i], scale[i]);
    if (!part) return std::nullopt;
    v[i] = *part;
  }
  const auto alpha = readAlpha(parts);
  if (!alpha) return std::nullopt;
  // What no light can be is taken as the nearest that can.
  if (space == Space::hsl || space == Space::hwb) {
    v[1] = std::clamp(v[1], 0.0, 1.0);
    v[2] = std::clamp(v[2], 0.0, 1.0);
  } else if (space == Space::lab || space == Space::lch) {
    v[0] = std::clamp(v[0], 0.0, 100.0);
  } else if (space == Space::oklab || space == Space::oklch) {
    v[0] = std::clamp(v[0], 0.0, 1.0);
  }
  if (space == Space::lch || space == Space::oklch) v[1] = std::max(v[1], 0.0);
  return makeColor(toSRGB(space, v), *alpha);
}

// The way from one hue to the other.
double mixedHue(double from, double to, double share, std::string_view method) {
  from -= std::floor(from / 360) * 360;
  to -= std::floor(to / 360) * 360;
  const double way = to - from;
  const bool isUpwards = (method == "increasing" && way < 0) ||
                         (method == "longer" && way > -180 && way <= 0) ||
                         (method == "shorter" && way < -180);
  const bool isDownwards = (method == "decreasing" && way > 0) ||
                           (method == "longer" && way > 0 && way < 180) ||
                           (method == "shorter" && way > 180);
  if (isUpwards) to += 360;
  if (isDownwards) from += 360;
  return from + (to - from) * share;
}

// A colour of a mix with its share, negative where none is written.
std::optional<std::pair<CSSColor, double>> readShare(std::string_view text, int depth) {
  double share = -1;
  std::string_view color;
  for (const std::string_view word : cssWords(text)) {
    if (word.ends_with('%') && word.find('(') == word.npos) {
      const auto part = readPart(word, 1);
      if (!part || *part < 0 || *part > 1) return std::nullopt;
      share = *part;
    } else if (color.empty()) {
      color = word;
    } else {
      return std::nullopt;
    }
  }
  const auto found = readColor(color, depth + 1);
  if (!found) return std::nullopt;
  return std::pair{*found, share};
}

std::optional<CSSColor> readMix(std::string_view arguments, int depth) {
  const auto pieces = cssList(arguments);
  if (pieces.size() != 3) return std::nullopt;
  const auto how = cssWords(pieces[0]);
  if (how.size() < 2 || !equalIgnoringCase(how[0], "in")) return std::nullopt;
  const std::string name = lowercase(how[1]);
  const auto* found = std::find_if(kSpaces.begin(), kSpaces.end(),
                                   [&](const auto& one) { return one.first == name; });
  if (found == kSpaces.end()) return std::nullopt;
  const Space space = found->second;
  const std::string method = how.size() > 2 ? lowercase(how[2]) : "shorter";
  const auto one = readShare(pieces[1], depth);
  const auto other = readShare(pieces[2], depth);
  if (!one || !other) return std::nullopt;

  double first = one->second;
  double second = other->second;
  if (first < 0) first = second < 0 ? 0.5 : 1 - second;
  if (second < 0) second = 1 - first;
  const double sum = first + second;
  if (sum <= 0) return std::nullopt;
  const double share = second / sum;

  const CSSColor& a = one->first;
  const CSSColor& b = other->first;
  const Triple from = fromSRGB(space, {a.red, a.green, a.blue});
  const Triple to = fromSRGB(space, {b.red, b.green, b.blue});
  const double alpha = a.alpha * (1 - share) + b.alpha * share;
  Triple mixed{};
  for (std::size_t i = 0; i < 3; ++i) {
    if (i == hueOf(space)) {
      // A grey has no hue of its own.
      const std::size_t strength = space == Space::hsl ? 1 : i == 0 ? 3 : 1;
      const auto isGrey = [&](const Triple& v, const CSSColor& color) {
        return color.alpha == 0 || (strength < 3 && v[strength] < 1e-4) ||
               (space == Space::hwb && v[1] + v[2] > 1 - 1e-6);
      };
      const double begin = isGrey(from, a) ? to[i] : from[i];
      const double end = isGrey(to, b) ? from[i] : to[i];
      mixed[i] = mixedHue(begin, end, share, method);
    } else {
      mixed[i] = from[i] * a.alpha * (1 - share) + to[i] * b.alpha * share;
      if (alpha > 0) mixed[i] /= alpha;
    }
  }
  return makeColor(toSRGB(space, mixed), alpha * std::min(sum, 1.0));
}

std::optional<CSSColor> readColor(std::string_view text, int depth) {
  if (text.starts_with('#')) return readHex(text.substr(1));
  const std::size_t bracket = text.find('(');
  const std::string name = lowercase(text.substr(0, bracket));
  if (bracket == text.npos) {
    if (name == "transparent") return CSSColor{0, 0, 0, 0};
    const auto* found =
        std::lower_bound(kNames.begin(), kNames.end(), name,
                         [](const NamedColor& one, std::string_view n) { return one.name < n; });
    if (found == kNames.end() || found->name != name) return std::nullopt;
    return CSSColor{(found->color >> 16) / 255.0, (found->color >> 8 & 0xFF) / 255.0,
                    (found->color & 0xFF) / 255.0};
  }
  if (!text.ends_with(')') || depth > kMaxDepth) return std::nullopt;
  const std::string_view arguments = text.substr(bracket + 1, text.size() - bracket - 2);
  if (name == "color-mix") return readMix(arguments, depth);
  if (name == "light-dark") {
    const auto pieces = cssList(arguments);
    return pieces.size() == 2 ? readColor(pieces[0], depth + 1) : std::nullopt;
  }
  return readPlain(name, arguments);
}

}  // namespace

std::string CSSColor::text() const {
  const auto byte = [](double part) { return static_cast<int>(std::lround(part * 255)); };
  std::array<char, 64> out{};
  if (alpha >= 1) {
    std::snprintf(out.data(), out.size(), "rgb(%d, %d, %d)", byte(red), byte(green), byte(blue));
    return out.data();
  }
  // Written by hand, since the point must not be the comma of somebody's language.
  const int thousandths = static_cast<int>(std::lround(alpha * 1000));
  std::snprintf(out.data(), out.size(), "rgba(%d, %d, %d, %d.%03d", byte(red), byte(green),
                byte(blue), thousandths / 1000, thousandths % 1000);
  std::string text = out.data();
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.')) text.pop_back();
  return text + ')';
}

std::optional<CSSColor> readCSSColor(std::string_view text) { return readColor(text, 0); }

}  // namespace korvane
