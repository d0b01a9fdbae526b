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
#include "formats/html/ColorSpaces.h"
#include "text/ASCII.h"
#include "text/UTF8.h"

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

// Words for colours that only the program that shows them knows, and for the one around. Sorted.
constexpr auto kWords = std::to_array<std::string_view>({"accentcolor",
                                                         "accentcolortext",
                                                         "activeborder",
                                                         "activecaption",
                                                         "activetext",
                                                         "appworkspace",
                                                         "background",
                                                         "buttonborder",
                                                         "buttonface",
                                                         "buttonhighlight",
                                                         "buttonshadow",
                                                         "buttontext",
                                                         "canvas",
                                                         "canvastext",
                                                         "captiontext",
                                                         "currentcolor",
                                                         "field",
                                                         "fieldtext",
                                                         "graytext",
                                                         "highlight",
                                                         "highlighttext",
                                                         "inactiveborder",
                                                         "inactivecaption",
                                                         "inactivecaptiontext",
                                                         "infobackground",
                                                         "infotext",
                                                         "inherit",
                                                         "initial",
                                                         "linktext",
                                                         "mark",
                                                         "marktext",
                                                         "menu",
                                                         "menutext",
                                                         "revert",
                                                         "revert-layer",
                                                         "scrollbar",
                                                         "selecteditem",
                                                         "selecteditemtext",
                                                         "threeddarkshadow",
                                                         "threedface",
                                                         "threedhighlight",
                                                         "threedlightshadow",
                                                         "threedshadow",
                                                         "unset",
                                                         "visitedtext",
                                                         "window",
                                                         "windowframe",
                                                         "windowtext"});
static_assert(std::is_sorted(kWords.begin(), kWords.end()));

constexpr std::size_t kMaxLegacyColor = 128;
constexpr int kMaxDepth = 4;  // of mixes in mixes

CSSColor makeColor(const ColorParts& v, double alpha) {
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
  ColorSpace space = ColorSpace::srgb;
  ColorParts whole = {1, 1, 1};
  ColorParts scale = {1, 1, 1};
  if (name == "color") {
    if (parts.empty()) return std::nullopt;
    const auto found = findColorSpace(parts[0]);
    if (!found || *found >= ColorSpace::lab) return std::nullopt;  // those have functions
    space = *found;
    parts.erase(parts.begin());
  } else if (name == "rgb" || name == "rgba") {
    scale = {1 / 255.0, 1 / 255.0, 1 / 255.0};
  } else if (name == "hsl" || name == "hsla" || name == "hwb") {
    space = name == "hwb" ? ColorSpace::hwb : ColorSpace::hsl;
    scale = {1, 0.01, 0.01};
  } else if (name == "lab" || name == "lch") {
    space = name == "lab" ? ColorSpace::lab : ColorSpace::lch;
    whole = name == "lab" ? ColorParts{100, 125, 125} : ColorParts{100, 150, 0};
  } else if (name == "oklab" || name == "oklch") {
    space = name == "oklab" ? ColorSpace::oklab : ColorSpace::oklch;
    whole = {1, 0.4, 0.4};
  } else {
    return std::nullopt;
  }
  if (parts.size() != 3 && parts.size() != 4) return std::nullopt;
  ColorParts v{};
  for (std::size_t i = 0; i < 3; ++i) {
    const auto part =
        i == huePart(space) ? readHue(parts[i]) : readPart(parts[i], whole[i], scale[i]);
    if (!part) return std::nullopt;
    v[i] = *part;
  }
  const auto alpha = readAlpha(parts);
  if (!alpha) return std::nullopt;
  // What no light can be is taken as the nearest that can.
  if (space == ColorSpace::hsl || space == ColorSpace::hwb) {
    v[1] = std::clamp(v[1], 0.0, 1.0);
    v[2] = std::clamp(v[2], 0.0, 1.0);
  } else if (space == ColorSpace::lab || space == ColorSpace::lch) {
    v[0] = std::clamp(v[0], 0.0, 100.0);
  } else if (space == ColorSpace::oklab || space == ColorSpace::oklch) {
    v[0] = std::clamp(v[0], 0.0, 1.0);
  }
  if (space == ColorSpace::lch || space == ColorSpace::oklch) v[1] = std::max(v[1], 0.0);
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
  auto pieces = cssList(arguments);
  // Where nothing is said of it, they are mixed in Oklab.
  ColorSpace space = ColorSpace::oklab;
  std::string method = "shorter";
  const auto how = cssWords(pieces[0]);
  if (!how.empty() && equalIgnoringCase(how[0], "in")) {
    if (how.size() < 2) return std::nullopt;
    const auto found = findColorSpace(how[1]);
    if (!found) return std::nullopt;
    space = *found;
    if (how.size() > 2) method = lowercase(how[2]);
    pieces.erase(pieces.begin());
  }
  if (pieces.size() != 2) return std::nullopt;
  const auto one = readShare(pieces[0], depth);
  const auto other = readShare(pieces[1], depth);
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
  const ColorParts from = fromSRGB(space, {a.red, a.green, a.blue});
  const ColorParts to = fromSRGB(space, {b.red, b.green, b.blue});
  const double alpha = a.alpha * (1 - share) + b.alpha * share;
  ColorParts mixed{};
  for (std::size_t i = 0; i < 3; ++i) {
    if (i == huePart(space)) {
      // A grey has no hue of its own.
      const std::size_t strength = space == ColorSpace::hsl ? 1 : i == 0 ? 3 : 1;
      const auto isGrey = [&](const ColorParts& v, const CSSColor& color) {
        return color.alpha == 0 || (strength < 3 && v[strength] < 1e-4) ||
               (space == ColorSpace::hwb && v[1] + v[2] > 1 - 1e-6);
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

bool isCSSColor(std::string_view text) {
  const std::string word = lowercase(text);
  return std::binary_search(kWords.begin(), kWords.end(), word) || readCSSColor(text);
}

std::string legacyColor(std::string_view text) {
  text = withoutOuterSpace(text);
  if (text.empty() || equalIgnoringCase(text, "transparent")) return {};
  const bool isHex = text.starts_with('#') && (text.size() == 4 || text.size() == 7);
  if ((isHex || isLetter(text[0])) && text.find('(') == text.npos && readCSSColor(text)) {
    return std::string(text);
  }
  // Any text is a colour: of three parts of the same length the two digits that count, with 0 for
  // what is not a digit.
  std::string digits;
  for (std::size_t at = 0; at < text.size() && digits.size() < kMaxLegacyColor;) {
    const UTF8Character character = firstUTF8Character(text.substr(at));
    at += character.size;
    const char c = character.code < 0x80 ? static_cast<char>(character.code) : '0';
    digits += character.code > 0xFFFF ? "00" : std::string(1, c);
  }
  digits.resize(std::min(digits.size(), kMaxLegacyColor));
  if (digits.starts_with('#')) digits.erase(0, 1);
  for (char& c : digits) c = isHexDigit(c) ? lowercase(c) : '0';
  while (digits.empty() || digits.size() % 3 != 0) digits += '0';
  const std::size_t length = digits.size() / 3;
  std::array<std::string_view, 3> parts;
  for (std::size_t i = 0; i < 3; ++i) {
    parts[i] = std::string_view(digits).substr(i * length, length);
    if (length > 8) parts[i].remove_prefix(length - 8);
  }
  const auto isZero = [](std::string_view part) { return part[0] == '0'; };
  while (parts[0].size() > 2 && std::all_of(parts.begin(), parts.end(), isZero)) {
    for (std::string_view& part : parts) part.remove_prefix(1);
  }
  std::string color = "#";
  for (const std::string_view part : parts) {
    if (part.size() < 2) color += '0';
    color += part.substr(0, 2);
  }
  return color;
}

}  // namespace korvane
