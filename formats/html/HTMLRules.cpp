#include "formats/html/HTMLRules.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <initializer_list>
#include <limits>

#include "formats/html/CSSColor.h"
#include "formats/html/CSSStyle.h"
#include "formats/html/CSSWords.h"
#include "formats/html/HTMLCharacters.h"
#include "formats/html/HTMLLinks.h"
#include "formats/html/StyleSheet.h"
#include "platform/NSAttributedString.h"
#include "text/ASCII.h"

namespace korvane {
namespace {

using Role = HTMLRole;

// Sorted by name.
// clang-format off
constexpr std::array kRules = {
    HTMLRule{"a", Role::anchor, "a", ""},
    HTMLRule{"abbr", Role::inlined, "abbr", ""},
    HTMLRule{"acronym", Role::inlined, "abbr", ""},
    HTMLRule{"address", Role::block, "div", "font-style:italic"},
    HTMLRule{"article", Role::block, "div", ""},
    HTMLRule{"aside", Role::block, "div", ""},
    HTMLRule{"audio", Role::media, "", ""},
    HTMLRule{"b", Role::inlined, "b", ""},
    HTMLRule{"base", Role::base, "", ""},
    HTMLRule{"bdi", Role::inlined, "bdi", ""},
    HTMLRule{"bdo", Role::inlined, "bdo", ""},
    HTMLRule{"big", Role::inlined, "span", "font-size:larger"},
    HTMLRule{"blockquote", Role::block, "blockquote", ""},
    HTMLRule{"body", Role::body, "body", ""},
    HTMLRule{"br", Role::lineBreak, "br", ""},
    HTMLRule{"canvas", Role::skipped, "", ""},
    HTMLRule{"caption", Role::caption, "caption", ""},
    HTMLRule{"center", Role::block, "div", "text-align:-webkit-center"},
    HTMLRule{"cite", Role::inlined, "cite", ""},
    HTMLRule{"code", Role::inlined, "code", ""},
    HTMLRule{"datalist", Role::skipped, "", ""},
    HTMLRule{"dd", Role::item, "dd", ""},
    HTMLRule{"del", Role::inlined, "del", ""},
    HTMLRule{"details", Role::block, "div", ""},
    HTMLRule{"dfn", Role::inlined, "dfn", ""},
    HTMLRule{"dialog", Role::block, "div", "display:none"},
    HTMLRule{"dir", Role::list, "ul", ""},
    HTMLRule{"div", Role::block, "div", ""},
    HTMLRule{"dl", Role::list, "dl", ""},
    HTMLRule{"dt", Role::item, "dt", ""},
    HTMLRule{"em", Role::inlined, "em", ""},
    HTMLRule{"fieldset", Role::block, "div", ""},
    HTMLRule{"figcaption", Role::block, "div", ""},
    HTMLRule{"figure", Role::block, "div", "margin:1em 40px"},
    HTMLRule{"font", Role::inlined, "span", ""},
    HTMLRule{"footer", Role::block, "div", ""},
    HTMLRule{"form", Role::block, "div", ""},
    HTMLRule{"h1", Role::line, "h1", ""},
    HTMLRule{"h2", Role::line, "h2", ""},
    HTMLRule{"h3", Role::line, "h3", ""},
    HTMLRule{"h4", Role::line, "h4", ""},
    HTMLRule{"h5", Role::line, "h5", ""},
    HTMLRule{"h6", Role::line, "h6", ""},
    HTMLRule{"header", Role::block, "div", ""},
    HTMLRule{"hgroup", Role::block, "div", ""},
    HTMLRule{"hr", Role::separator, "hr", ""},
    HTMLRule{"html", Role::root, "", ""},
    HTMLRule{"i", Role::inlined, "i", ""},
    HTMLRule{"iframe", Role::frame, "", ""},
    HTMLRule{"img", Role::picture, "img", ""},
    HTMLRule{"input", Role::input, "", ""},
    HTMLRule{"ins", Role::inlined, "ins", ""},
    HTMLRule{"kbd", Role::inlined, "kbd", ""},
    HTMLRule{"legend", Role::block, "div", ""},
    HTMLRule{"li", Role::item, "li", ""},
    HTMLRule{"listing", Role::line, "pre", ""},
    HTMLRule{"main", Role::block, "div", ""},
    HTMLRule{"mark", Role::inlined, "mark", ""},
    HTMLRule{"math", Role::foreign, "", ""},
    HTMLRule{"menu", Role::list, "ul", ""},
    HTMLRule{"nav", Role::block, "div", ""},
    HTMLRule{"noembed", Role::skipped, "", ""},
    HTMLRule{"noframes", Role::skipped, "", ""},
    HTMLRule{"noscript", Role::skipped, "", ""},
    HTMLRule{"ol", Role::list, "ol", ""},
    HTMLRule{"optgroup", Role::block, "div", ""},
    HTMLRule{"option", Role::block, "div", ""},
    HTMLRule{"p", Role::paragraph, "p", ""},
    HTMLRule{"plaintext", Role::line, "pre", ""},
    HTMLRule{"pre", Role::line, "pre", ""},
    HTMLRule{"q", Role::inlined, "q", ""},
    HTMLRule{"rb", Role::rubyBase, "", ""},
    HTMLRule{"rp", Role::skipped, "", ""},
    HTMLRule{"rt", Role::ruby, "", ""},
    HTMLRule{"rtc", Role::rubyBase, "", ""},
    HTMLRule{"ruby", Role::rubyBase, "", ""},
    HTMLRule{"s", Role::inlined, "s", ""},
    HTMLRule{"samp", Role::inlined, "samp", ""},
    HTMLRule{"script", Role::skipped, "", ""},
    HTMLRule{"section", Role::block, "div", ""},
    HTMLRule{"small", Role::inlined, "small", ""},
    HTMLRule{"span", Role::inlined, "span", ""},
    HTMLRule{"strike", Role::inlined, "s", ""},
    HTMLRule{"strong", Role::inlined, "strong", ""},
    HTMLRule{"style", Role::sheet, "", ""},
    HTMLRule{"sub", Role::inlined, "sub", ""},
    HTMLRule{"summary", Role::block, "div", ""},
    HTMLRule{"sup", Role::inlined, "sup", ""},
    HTMLRule{"svg", Role::foreign, "", ""},
    HTMLRule{"table", Role::table, "table", ""},
    HTMLRule{"tbody", Role::section, "tbody", ""},
    HTMLRule{"td", Role::cell, "td", ""},
    HTMLRule{"template", Role::skipped, "", ""},
    HTMLRule{"tfoot", Role::section, "tfoot", ""},
    HTMLRule{"th", Role::cell, "th", ""},
    HTMLRule{"thead", Role::section, "thead", ""},
    HTMLRule{"title", Role::skipped, "", ""},
    HTMLRule{"tr", Role::row, "tr", ""},
    HTMLRule{"tt", Role::inlined, "code", ""},
    HTMLRule{"u", Role::inlined, "u", ""},
    HTMLRule{"ul", Role::list, "ul", ""},
    HTMLRule{"var", Role::inlined, "var", ""},
    HTMLRule{"video", Role::media, "", ""},
    HTMLRule{"xmp", Role::line, "pre", ""},
};

// clang-format on

static_assert(std::is_sorted(kRules.begin(), kRules.end(),
                             [](const HTMLRule& a, const HTMLRule& b) { return a.name < b.name; }));

// Where the rules begin whose names begin with a letter, and where they end.
constexpr auto kRulesOf = [] {
  std::array<std::size_t, 27> begins{};
  for (const HTMLRule& rule : kRules) {
    for (std::size_t letter = static_cast<std::size_t>(rule.name[0] - 'a') + 1; letter < 27;
         ++letter) {
      ++begins[letter];
    }
  }
  return begins;
}();

bool isDefinition(const HTMLRule& rule) { return rule.written.starts_with('d'); }  // dl, dt, dd

void appendAttribute(std::string_view name, std::string_view value, std::string& out) {
  out += ' ';
  out += name;
  out += "=\"";
  appendHTMLEscaped(value, out);
  out += '"';
}

// The whole number that a text begins with, whatever follows it, as browsers read attributes; taken
// off the text. Nothing where it is not one of those.
std::optional<int> wholeNumber(std::string_view& text, int least, int most) {
  text = withoutOuterSpace(text);
  const bool hasPlus = text.size() > 1 && text[0] == '+' && isDigit(text[1]);
  if (hasPlus) text.remove_prefix(1);
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || number < least || number > most) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

void keepNumber(const HTMLAttribute& attribute, int least, int most, std::string& out) {
  std::string_view value = attribute.rawValue;
  const auto number = wholeNumber(value, least, most);
  if (number) appendAttribute(attribute.name, std::to_string(*number), out);
}

// How many columns or rows a cell goes over.
void keepSpan(const HTMLAttribute& attribute, std::string& out) {
  constexpr int kMaxSpan = 1000;  // that of browsers, for columns
  std::string_view value = attribute.rawValue;
  const auto number = wholeNumber(value, 0, std::numeric_limits<int>::max());
  if (number) appendAttribute(attribute.name, std::to_string(std::min(*number, kMaxSpan)), out);
}

// A length in pixels or percent.
void keepLength(const HTMLAttribute& attribute, std::string& out) {
  constexpr int kMaxPixels = 10'000;
  std::string_view value = attribute.rawValue;
  const auto number = wholeNumber(value, 0, kMaxPixels);
  if (value.starts_with('.')) value.remove_prefix(1);
  while (!value.empty() && isDigit(value[0])) value.remove_prefix(1);
  const bool isShare = value.starts_with('%');
  if (number && (!isShare || *number <= 100))
    appendAttribute(attribute.name, std::to_string(*number) + (isShare ? "%" : ""), out);
}

void keepWord(const HTMLAttribute& attribute, std::initializer_list<std::string_view> words,
              std::string& out) {
  const std::string word = lowercase(withoutOuterSpace(attribute.rawValue));
  if (std::find(words.begin(), words.end(), word) != words.end()) {
    appendAttribute(attribute.name, word, out);
  }
}

void keepListAttribute(const HTMLRule& rule, const HTMLAttribute& attribute, std::string& out) {
  constexpr int kMaxNumber = 1'000'000'000;
  const bool isNumbered = rule.written == "ol";
  if ((attribute.name == "start" && isNumbered) ||
      (attribute.name == "value" && rule.written == "li")) {
    keepNumber(attribute, -kMaxNumber, kMaxNumber, out);
  } else if (attribute.name == "reversed" && isNumbered) {
    out += " reversed=\"\"";
  } else if (attribute.name == "type" && !isDefinition(rule)) {
    const std::string_view type = withoutOuterSpace(attribute.rawValue);
    if (type.size() == 1 && std::string_view("1aAiI").find(type) != std::string_view::npos) {
      appendAttribute(attribute.name, type, out);
    } else {
      keepWord(attribute, {"disc", "circle", "square", "none"}, out);
    }
  }
}

void keepTableAttribute(const HTMLRule& rule, const HTMLAttribute& attribute, std::string& out) {
  constexpr int kMaxPixels = 1000;
  const std::string_view name = attribute.name;
  if (rule.role == Role::table) {
    if (name == "border") {
      // Without a number it is 1, whatever is written.
      std::string_view value = attribute.rawValue;
      const int width = wholeNumber(value, 0, kMaxPixels).value_or(1);
      appendAttribute(name, std::to_string(width), out);
    } else if (name == "cellpadding" || name == "cellspacing") {
      keepNumber(attribute, 0, kMaxPixels, out);
    } else if (name == "frame") {
      keepWord(attribute,
               {"void", "above", "below", "hsides", "lhs", "rhs", "vsides", "box", "border"}, out);
    } else if (name == "rules") {
      keepWord(attribute, {"none", "groups", "rows", "cols", "all"}, out);
    } else if (name == "width" || name == "height") {
      keepLength(attribute, out);
    }
    return;
  }
  if (name == "valign" && rule.role != Role::caption) {
    keepWord(attribute, {"top", "middle", "bottom", "baseline"}, out);
  } else if (name == "height" && rule.role == Role::row) {
    keepLength(attribute, out);
  } else if (rule.role == Role::cell) {
    if (name == "colspan" || name == "rowspan") keepSpan(attribute, out);
    if (name == "width" || name == "height") keepLength(attribute, out);
    if (name == "nowrap") out += " nowrap=\"\"";
  }
}

void addAlignment(const HTMLRule& rule, std::string_view side, CSSStyle& style) {
  if (side == "middle") side = "center";
  if (rule.role == Role::table) {
    // Of a table it is the place of the table, not of the text in it.
    if (side == "center" || side == "right") style.add("margin-left", "auto");
    if (side == "center") style.add("margin-right", "auto");
  } else if (side == "left" || side == "right" || side == "center") {
    std::string align(rule.role == Role::line ? "" : "-webkit-");
    style.add("text-align", align.append(side));
  } else if (side == "justify") {
    style.add("text-align", side);
  }
}

bool isLanguage(std::string_view text) {
  constexpr std::size_t kMaxLanguage = 35;
  return !text.empty() && text.size() <= kMaxLanguage &&
         std::all_of(text.begin(), text.end(),
                     [](char c) { return isAlphanumeric(c) || c == '-'; });
}

void addLegacyFontSize(std::string_view value, CSSStyle& style) {
  static constexpr std::array<std::string_view, 8> kSizes = {
      "", "x-small", "small", "medium", "large", "x-large", "xx-large", "xx-large"};
  // "+1" and "-1" count from the usual size, which is 3.
  value = withoutOuterSpace(value);
  const bool isRelative = value.starts_with('+') || value.starts_with('-');
  auto size = wholeNumber(value, -100, 100);
  if (!size) return;
  if (isRelative) *size += 3;
  style.add("font-size", kSizes[static_cast<std::size_t>(std::clamp(*size, 1, 7))]);
}

std::string valueOf(const HTMLAttribute& attribute) {
  return withoutControlCharacters(
      decodeCharacterReferences(attribute.rawValue, HTMLPlace::attribute));
}

}  // namespace

const HTMLRule* findHTMLRule(std::string_view name) {
  if (name.empty() || name[0] < 'a' || name[0] > 'z') return nullptr;
  const auto letter = static_cast<std::size_t>(name[0] - 'a');
  for (std::size_t i = kRulesOf[letter]; i < kRulesOf[letter + 1]; ++i) {
    if (kRules[i].name == name) return &kRules[i];
  }
  return nullptr;
}

HTMLKeptAttributes keepAttributes(const HTMLRule& rule, const std::vector<HTMLAttribute>& all,
                                  const HTMLSurroundings& around) {
  HTMLKeptAttributes kept;
  if (rule.written == "pre") kept.preservesSpace = true;
  const bool hasSheet =
      around.sheet != nullptr && !around.sheet->empty() && around.budget != nullptr;
  const bool isPlaced = rule.role == Role::table && !around.tableSide.empty();
  if (all.empty() && rule.style.empty() && !hasSheet && !isPlaced) return kept;
  CSSStyle style(rule.role == Role::body);
  style.addAll(rule.style);
  if (isPlaced) {
    // As a whole: the text in its cells begins where it does in other tables.
    addAlignment(rule, around.tableSide, style);
    style.add("text-align", "start");
  }
  for (const HTMLAttribute& attribute : all) {
    const std::string_view name = attribute.name;
    const auto value = [&] { return valueOf(attribute); };
    if (name == "hidden") {
      kept.hidden = true;
    } else if (name == "open" && rule.name == "dialog") {
      style.add("display", "block");
    } else if (name == "dir") {
      keepWord(attribute, {"ltr", "rtl", "auto"}, kept.text);
    } else if (name == "lang") {
      const std::string language = value();
      if (isLanguage(language)) appendAttribute(name, language, kept.text);
    } else if (name == "align") {
      addAlignment(rule, lowercase(value()), style);
    } else if (name == "bgcolor") {
      style.add("background-color", legacyColor(value()));
    } else if (name == "background") {
      if (!attribute.rawValue.empty()) style.add("background-image", "url()");
    } else if ((name == "color" && rule.name == "font") ||
               (name == "text" && rule.role == Role::body)) {
      style.add("color", legacyColor(value()));
    } else if (name == "face" && rule.name == "font") {
      style.add("font-family", value());
    } else if (name == "size" && rule.name == "font") {
      addLegacyFontSize(value(), style);
    } else if (name == "href" && rule.role == Role::anchor) {
      std::string link = resolvedLink(cleanedLink(value()), around.base);
      if (isLinkForDocuments(link)) {
        appendAttribute(name, link, kept.text);
        kept.link = std::move(link);
      }
    } else if (name == "title" && (rule.written == "abbr" || rule.written == "dfn")) {
      appendAttribute(name, value(), kept.text);
    } else if (rule.role == Role::list || rule.role == Role::item) {
      keepListAttribute(rule, attribute, kept.text);
    } else if (rule.role == Role::table || isTablePart(rule.role)) {
      keepTableAttribute(rule, attribute, kept.text);
    }
  }
  if (hasSheet) {
    around.sheet->apply(rule.name, attributeValue(all, "class"), attributeValue(all, "id"),
                        *around.budget, style);
  }
  style.addAll(attributeValue(all, "style"));
  const std::string declarations = style.text(around.backgroundLost, around.lostColor);
  if (!declarations.empty()) appendAttribute("style", declarations, kept.text);
  kept.hidden |= style.hidden();
  kept.visible = style.visible();
  kept.background = style.background();
  if (const auto color = style.lostColor(around.backgroundLost)) {
    kept.lostColor = std::string(*color);
  } else if (kept.background == CSSBackground::kept) {
    kept.lostColor = std::string();
  }
  kept.tableSide = style.tableSide();
  if (style.preservesSpace()) kept.preservesSpace = style.preservesSpace();
  return kept;
}

std::optional<std::string> pictureTag(const std::vector<HTMLAttribute>& all) {
  constexpr std::size_t kMaxPicture = std::size_t{8} << 20;
  static constexpr std::array<std::string_view, 5> kTypes = {"png", "jpeg", "jpg", "gif", "webp"};
  std::string source = cleanedLink(attributeValue(all, "src"));
  std::erase(source, ' ');
  const std::size_t comma = source.find(',');
  if (source.size() > kMaxPicture || comma == source.npos) return std::nullopt;
  const std::string head = lowercase(std::string_view(source).substr(0, comma));
  if (std::none_of(kTypes.begin(), kTypes.end(), [&](std::string_view type) {
        return head == "data:image/" + std::string(type) + ";base64";
      })) {
    return std::nullopt;
  }
  const std::string_view data = std::string_view(source).substr(comma + 1);
  if (data.empty() || !std::all_of(data.begin(), data.end(), [](char c) {
        return isAlphanumeric(c) || c == '+' || c == '/' || c == '=';
      })) {
    return std::nullopt;
  }
  std::string tag = "<img src=\"" + head + ',' + std::string(data) + '"';
  appendAttribute("alt", attributeValue(all, "alt"), tag);
  const std::vector<CSSDeclaration> style = readDeclarations(attributeValue(all, "style"));
  for (const std::string_view side : {"width", "height"}) {
    // A size in pixels may stand in the style, which counts for more.
    HTMLAttribute size{std::string(side), {}};
    for (const HTMLAttribute& one : all) {
      if (one.name == side) size.rawValue = one.rawValue;
    }
    for (const CSSDeclaration& one : style) {
      if (one.property == side && one.value.ends_with("px")) size.rawValue = one.value;
    }
    keepLength(size, tag);
  }
  return tag + '>';
}

std::string attributeValue(const std::vector<HTMLAttribute>& all, std::string_view name) {
  const auto found = std::find_if(all.begin(), all.end(),
                                  [&](const HTMLAttribute& one) { return one.name == name; });
  if (found == all.end()) return {};
  return valueOf(*found);
}

}  // namespace korvane
