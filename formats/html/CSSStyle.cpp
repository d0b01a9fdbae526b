#include "formats/html/CSSStyle.h"

#include <algorithm>
#include <array>

#include "formats/html/CSSColor.h"
#include "formats/html/CSSValues.h"
#include "formats/html/CSSWords.h"
#include "formats/html/HTMLCharacters.h"
#include "text/ASCII.h"

namespace korvane {
namespace {

constexpr std::size_t kMaxDeclarations = 32;

// Properties that change how text looks, none that places it elsewhere or loads anything. Sorted.
// clang-format off
constexpr std::array<std::string_view, 68> kProperties = {
    "background-color", "border", "border-bottom", "border-bottom-color",
    "border-bottom-style", "border-bottom-width", "border-collapse", "border-color", "border-left",
    "border-left-color", "border-left-style", "border-left-width", "border-radius", "border-right",
    "border-right-color", "border-right-style", "border-right-width", "border-spacing",
    "border-style", "border-top", "border-top-color", "border-top-style", "border-top-width",
    "border-width", "caption-side", "color", "direction", "font", "font-family", "font-size",
    "font-stretch", "font-style", "font-variant", "font-variant-caps", "font-weight", "height",
    "letter-spacing", "line-height", "list-style", "list-style-position", "list-style-type",
    "margin", "margin-bottom", "margin-left", "margin-right", "margin-top", "max-width", "padding",
    "padding-bottom", "padding-left", "padding-right", "padding-top", "tab-size", "text-align",
    "text-decoration", "text-decoration-color", "text-decoration-line", "text-decoration-style",
    "text-decoration-thickness", "text-indent", "text-transform", "unicode-bidi", "vertical-align",
    "white-space", "width", "word-break", "word-spacing", "writing-mode"};
// clang-format on
static_assert(std::is_sorted(kProperties.begin(), kProperties.end()));

// The side in what browsers call the alignment that "align" gives to a block; else nothing.
std::string_view oldSide(std::string_view align) {
  constexpr std::string_view kPrefix = "-webkit-";
  for (const std::string_view side : {"left", "center", "right"}) {
    if (align.size() == kPrefix.size() + side.size() &&
        equalIgnoringCase(align.substr(0, kPrefix.size()), kPrefix) &&
        equalIgnoringCase(align.substr(kPrefix.size()), side)) {
      return side;
    }
  }
  return {};
}

// Words of a background that do not name a colour.
bool loadsPicture(std::string_view word) { return word.find('(') != word.npos; }

}  // namespace

std::vector<CSSDeclaration> readDeclarations(std::string_view text) {
  std::vector<CSSDeclaration> all;
  const std::string plain = withoutComments(text);
  std::string_view rest = plain;
  while (!rest.empty() && all.size() < kMaxDeclarations) {
    const std::size_t end = findOutside(rest, ";");
    const std::string_view one = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    const std::size_t colon = one.find(':');
    if (colon == one.npos) continue;
    CSSDeclaration declaration;
    declaration.property = lowercase(withoutOuterSpace(one.substr(0, colon)));
    std::string_view value = withoutOuterSpace(one.substr(colon + 1));
    const std::size_t mark = value.rfind('!');
    if (mark != value.npos &&
        equalIgnoringCase(withoutOuterSpace(value.substr(mark + 1)), "important")) {
      declaration.important = true;
      value = withoutOuterSpace(value.substr(0, mark));
    }
    declaration.value = value;
    all.push_back(std::move(declaration));
  }
  return all;
}

void CSSStyle::add(std::string_view property, std::string_view value) {
  add({std::string(property), std::string(withoutOuterSpace(value))});
}

void CSSStyle::addAll(std::string_view declarations) {
  for (const CSSDeclaration& one : readDeclarations(declarations)) add(one);
}

void CSSStyle::add(const CSSDeclaration& declaration) {
  const std::string_view name = declaration.property;
  const bool important = declaration.important;
  if (name == "background") return addBackground(declaration.value, important);
  const std::string_view raw = declaration.value;
  if (name == "display") return displayNone_.set(equalIgnoringCase(raw, "none"), important);
  if (name == "background-image") return pictureLost_.set(loadsPicture(raw), important);
  if (name == "visibility") {
    if (equalIgnoringCase(raw, "hidden") || equalIgnoringCase(raw, "collapse")) visible_ = false;
    if (equalIgnoringCase(raw, "visible")) visible_ = true;
    return;
  }
  if (name == "clip" || name == "clip-path") {
    // What is meant for screen readers alone, and stands beside the text that is seen.
    const std::string lower = lowercase(raw.substr(0, 16));
    return clipped_.set(lower.starts_with("rect(0") || lower.starts_with("rect(1px") ||
                            lower.starts_with("inset(50%") || lower.starts_with("inset(100%"),
                        important);
  }
  if (name == "white-space-collapse") {
    if (equalIgnoringCase(raw, "preserve")) add({"white-space", "pre-wrap", important});
    if (equalIgnoringCase(raw, "preserve-breaks")) add({"white-space", "pre-line", important});
    if (equalIgnoringCase(raw, "break-spaces")) add({"white-space", "break-spaces", important});
    return;
  }
  if (!std::binary_search(kProperties.begin(), kProperties.end(), name)) return;

  std::string value(raw);
  if (name == "list-style") {
    value.clear();
    for (const std::string_view word : cssWords(raw)) {
      if (!loadsPicture(word)) value += (value.empty() ? "" : " ") + std::string(word);
    }
  }
  std::optional<std::string> harmless = harmlessValue(value);
  // What is no colour leaves the one that was there, as in a browser.
  const bool isOneColor = name == "color" || name.ends_with("-color");
  if (isOneColor && name != "border-color" && harmless && !isCSSColor(*harmless)) return;
  if (name == "background-color") colorLost_.set(!harmless, important);
  if (!harmless) return;
  if (name == "text-align") {
    for (const std::string_view side : {"-moz-center", "-moz-left", "-moz-right"}) {
      if (equalIgnoringCase(*harmless, side)) harmless->replace(0, 5, "-webkit-");
    }
  }
  if (name == "white-space" && isBody_) return;  // it is written with line breaks of its own
  keep(name, std::move(*harmless), important);
}

// Of the shorthand only the colour stays, which the last of several layers has.
void CSSStyle::addBackground(std::string_view value, bool important) {
  const bool hadImportant = colorLost_.important;
  std::string color;
  bool hasPicture = false;
  for (const std::string_view layer : cssList(value)) {
    for (const std::string_view word : cssWords(layer)) {
      if (readCSSColor(word)) {
        color = harmlessValue(word).value_or("");
      } else if (loadsPicture(word)) {
        hasPicture = true;
      }
    }
  }
  pictureLost_.set(hasPicture, important);
  if (hadImportant && !important) return;
  colorLost_.set(false, important);
  keep("background-color", color.empty() ? "transparent" : color, important);
}

void CSSStyle::keep(std::string_view property, std::string value, bool important) {
  const auto same = std::find_if(kept_.begin(), kept_.end(), [&](const CSSDeclaration& one) {
    return one.property == property;
  });
  if (same != kept_.end()) {
    if (same->important && !important) return;
    kept_.erase(same);
  }
  if (kept_.size() == kMaxDeclarations) return;
  if (property == "white-space") {
    const std::string lower = lowercase(value);
    preservesSpace_ = lower.starts_with("pre") || lower.starts_with("break-spaces");
  }
  kept_.push_back({std::string(property), std::move(value), important});
}

const CSSDeclaration* CSSStyle::find(std::string_view property) const {
  const auto found = std::find_if(kept_.begin(), kept_.end(), [&](const CSSDeclaration& one) {
    return one.property == property;
  });
  return found == kept_.end() ? nullptr : &*found;
}

CSSBackground CSSStyle::background() const {
  if (const CSSDeclaration* color = find("background-color"); color != nullptr && !colorLost_.on) {
    const auto read = readCSSColor(color->value);
    if (read && read->alpha > 0) return CSSBackground::kept;
  }
  return pictureLost_.on || colorLost_.on ? CSSBackground::lost : CSSBackground::outer;
}

std::optional<std::string_view> CSSStyle::tableSide() const {
  const CSSDeclaration* align = find("text-align");
  if (align == nullptr) return std::nullopt;
  return oldSide(align->value);
}

bool CSSStyle::losesColor(bool outerLost) const {
  const CSSBackground own = background();
  return own == CSSBackground::lost || (own == CSSBackground::outer && outerLost);
}

std::optional<std::string_view> CSSStyle::lostColor(bool outerLost) const {
  const CSSDeclaration* color = find("color");
  if (color == nullptr || !losesColor(outerLost)) return std::nullopt;
  return color->value;
}

std::string CSSStyle::text(bool outerLost, std::string_view lostColor) const {
  const CSSBackground own = background();
  const bool withoutColor = losesColor(outerLost);
  std::string out;
  if (own == CSSBackground::kept && !lostColor.empty() && find("color") == nullptr) {
    out.append("color:").append(lostColor);
  }
  // The important ones at the end, so that no shorthand behind them sets what they set.
  for (const bool important : {false, true}) {
    for (const CSSDeclaration& one : kept_) {
      if (one.important != important) continue;
      if (one.property == "color" && withoutColor) continue;
      if (one.property == "background-color" && own == CSSBackground::lost) continue;
      if (!out.empty()) out += ';';
      const std::string_view side =
          one.property == "text-align" ? oldSide(one.value) : std::string_view();
      out.append(one.property).append(":").append(side.empty() ? one.value : side);
    }
  }
  return out;
}

}  // namespace korvane
