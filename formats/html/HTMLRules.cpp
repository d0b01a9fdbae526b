#include "formats/html/HTMLRules.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "formats/html/HTMLCharacters.h"
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
    HTMLRule{"address", Role::block, "div", ""},
    HTMLRule{"article", Role::block, "div", ""},
    HTMLRule{"aside", Role::block, "div", ""},
    HTMLRule{"audio", Role::skipped, "", ""},
    HTMLRule{"b", Role::inlined, "b", ""},
    HTMLRule{"big", Role::inlined, "span", "font-size:larger"},
    HTMLRule{"blockquote", Role::block, "blockquote", ""},
    HTMLRule{"body", Role::body, "body", ""},
    HTMLRule{"br", Role::lineBreak, "br", ""},
    HTMLRule{"canvas", Role::skipped, "", ""},
    HTMLRule{"caption", Role::caption, "caption", ""},
    HTMLRule{"center", Role::block, "div", "text-align:center"},
    HTMLRule{"cite", Role::inlined, "cite", ""},
    HTMLRule{"code", Role::inlined, "code", ""},
    HTMLRule{"datalist", Role::skipped, "", ""},
    HTMLRule{"dd", Role::item, "dd", ""},
    HTMLRule{"del", Role::inlined, "del", ""},
    HTMLRule{"details", Role::block, "div", ""},
    HTMLRule{"dfn", Role::inlined, "dfn", ""},
    HTMLRule{"dialog", Role::block, "div", ""},
    HTMLRule{"dir", Role::list, "ul", ""},
    HTMLRule{"div", Role::block, "div", ""},
    HTMLRule{"dl", Role::list, "dl", ""},
    HTMLRule{"dt", Role::item, "dt", ""},
    HTMLRule{"em", Role::inlined, "em", ""},
    HTMLRule{"fieldset", Role::block, "div", ""},
    HTMLRule{"figcaption", Role::block, "div", ""},
    HTMLRule{"figure", Role::block, "div", ""},
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
    HTMLRule{"i", Role::inlined, "i", ""},
    HTMLRule{"iframe", Role::skipped, "", ""},
    HTMLRule{"img", Role::picture, "img", ""},
    HTMLRule{"ins", Role::inlined, "ins", ""},
    HTMLRule{"kbd", Role::inlined, "kbd", ""},
    HTMLRule{"legend", Role::block, "div", ""},
    HTMLRule{"li", Role::item, "li", ""},
    HTMLRule{"listing", Role::line, "pre", ""},
    HTMLRule{"main", Role::block, "div", ""},
    HTMLRule{"mark", Role::inlined, "mark", ""},
    HTMLRule{"math", Role::skipped, "", ""},
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
    HTMLRule{"s", Role::inlined, "s", ""},
    HTMLRule{"samp", Role::inlined, "samp", ""},
    HTMLRule{"script", Role::skipped, "", ""},
    HTMLRule{"section", Role::block, "div", ""},
    HTMLRule{"small", Role::inlined, "small", ""},
    HTMLRule{"span", Role::inlined, "span", ""},
    HTMLRule{"strike", Role::inlined, "s", ""},
    HTMLRule{"strong", Role::inlined, "strong", ""},
    HTMLRule{"style", Role::skipped, "", ""},
    HTMLRule{"sub", Role::inlined, "sub", ""},
    HTMLRule{"summary", Role::block, "div", ""},
    HTMLRule{"sup", Role::inlined, "sup", ""},
    HTMLRule{"svg", Role::skipped, "", ""},
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
    HTMLRule{"video", Role::skipped, "", ""},
    HTMLRule{"xmp", Role::line, "pre", ""},
};

// Properties that change how text looks, none that places it elsewhere or loads anything. Sorted.
constexpr std::array<std::string_view, 58> kProperties = {
    "background", "background-color", "border", "border-bottom", "border-bottom-color",
    "border-bottom-style", "border-bottom-width", "border-collapse", "border-color", "border-left",
    "border-left-color", "border-left-style", "border-left-width", "border-radius", "border-right",
    "border-right-color", "border-right-style", "border-right-width", "border-spacing",
    "border-style", "border-top", "border-top-color", "border-top-style", "border-top-width",
    "border-width", "color", "direction", "font", "font-family", "font-size", "font-style",
    "font-variant", "font-weight", "height", "letter-spacing", "line-height", "list-style-type",
    "margin", "margin-bottom", "margin-left", "margin-right", "margin-top", "max-width", "padding",
    "padding-bottom", "padding-left", "padding-right", "padding-top", "tab-size", "text-align",
    "text-decoration", "text-decoration-line", "text-indent", "text-transform", "vertical-align",
    "white-space", "width", "word-spacing"};
// clang-format on

static_assert(std::is_sorted(kProperties.begin(), kProperties.end()));
static_assert(std::is_sorted(kRules.begin(), kRules.end(),
                             [](const HTMLRule& a, const HTMLRule& b) { return a.name < b.name; }));

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isHTMLSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isHTMLSpace(text.back())) text.remove_suffix(1);
  return text;
}

// Words, numbers, colours and quoted names: no escapes, comments, addresses or functions but those
// of colours, and nothing negative, which could lay one text over another.
bool isHarmlessStyleValue(std::string_view value) {
  constexpr std::size_t kMaxStyleValue = 200;
  if (value.empty() || value.size() > kMaxStyleValue) return false;
  char quote = '\0';
  int open = 0;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const char c = value[i];
    const bool wordly = isAlphanumeric(c) || c == ' ' || c == '-' || c == '.' || c == ',' ||
                        static_cast<unsigned char>(c) >= 0x80;
    if (c == '"' || c == '\'') {
      if (quote == '\0') {
        quote = c;
      } else if (quote == c) {
        quote = '\0';
      } else {
        return false;
      }
    } else if (quote != '\0') {
      if (!wordly) return false;
    } else if (c == '(') {
      std::size_t begin = i;
      while (begin > 0 && isLetter(value[begin - 1])) --begin;
      const std::string name = lowercase(value.substr(begin, i - begin));
      if (name != "rgb" && name != "rgba" && name != "hsl" && name != "hsla") return false;
      if (++open > 1) return false;
    } else if (c == ')') {
      if (--open < 0) return false;
    } else {
      const bool isNegative =
          c == '-' && i + 1 < value.size() && (isDigit(value[i + 1]) || value[i + 1] == '.');
      if (isNegative || (!wordly && c != '#' && c != '%' && c != '+')) return false;
    }
  }
  return quote == '\0' && open == 0;
}

// Collects declarations, one after the other.
class Style {
 public:
  explicit Style(HTMLRole role) : role_(role) {}

  void add(std::string_view property, std::string_view rawValue) {
    constexpr int kMaxDeclarations = 32;
    const std::string name = lowercase(trimmed(property));
    std::string value;
    for (const char c : trimmed(rawValue)) {
      const bool space = isHTMLSpace(c);
      if (!space || value.back() != ' ') value += space ? ' ' : c;
    }
    const std::string lower = lowercase(value);
    if (const std::size_t mark = lower.rfind('!');
        mark != lower.npos && trimmed(std::string_view(lower).substr(mark + 1)) == "important") {
      value = trimmed(std::string_view(value).substr(0, mark));
    }
    if (name == "display" && lower.starts_with("none")) hidden_ = true;
    if (!std::binary_search(kProperties.begin(), kProperties.end(), name)) return;
    if (!isHarmlessStyleValue(value) || count_ == kMaxDeclarations) return;
    if (name == "white-space") {
      if (role_ == Role::body) return;  // the document is written with line breaks of its own
      preservesSpace_ = lower.starts_with("pre") || lower.starts_with("break-spaces");
    }
    if (count_++ > 0) text_ += ';';
    text_ += name + ':' + value;
  }

  // A semicolon within quotes cuts its declaration in two, neither of which is harmless.
  void addAll(std::string_view declarations) {
    while (!declarations.empty()) {
      const std::size_t end = std::min(declarations.find(';'), declarations.size());
      const std::string_view one = declarations.substr(0, end);
      const std::size_t colon = one.find(':');
      if (colon != one.npos) add(one.substr(0, colon), one.substr(colon + 1));
      declarations.remove_prefix(std::min(end + 1, declarations.size()));
    }
  }

  const std::string& text() const { return text_; }
  bool hidden() const { return hidden_; }
  std::optional<bool> preservesSpace() const { return preservesSpace_; }

 private:
  HTMLRole role_;
  std::string text_;
  int count_ = 0;
  bool hidden_ = false;
  std::optional<bool> preservesSpace_;
};

void appendAttribute(std::string_view name, std::string_view value, std::string& out) {
  out += ' ';
  out += name;
  out += "=\"";
  appendHTMLEscaped(value, out);
  out += '"';
}

// A whole number from 0 to `most`, nothing for anything else.
std::optional<int> smallNumber(std::string_view text, int most) {
  text = trimmed(text);
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (number < 0 || number > most) return std::nullopt;
  return number;
}

void keepNumber(const HTMLAttribute& attribute, int most, std::string& out) {
  const auto number = smallNumber(attribute.rawValue, most);
  if (number) appendAttribute(attribute.name, std::to_string(*number), out);
}

// The link as browsers read it: spaces around it and line breaks in it do not count.
std::string cleanedLink(std::string link) {
  std::erase_if(link, [](char c) { return c == '\t' || c == '\n' || c == '\r' || c == '\0'; });
  const auto visible = [](char c) { return static_cast<unsigned char>(c) > 0x20; };
  link.erase(std::find_if(link.rbegin(), link.rend(), visible).base(), link.end());
  link.erase(link.begin(), std::find_if(link.begin(), link.end(), visible));
  return link;
}

void addLegacyFontSize(std::string_view value, Style& style) {
  static constexpr std::array<std::string_view, 8> kSizes = {
      "", "x-small", "small", "medium", "large", "x-large", "xx-large", "xx-large"};
  const auto size = smallNumber(value, 7);
  if (size && *size > 0) style.add("font-size", kSizes[static_cast<std::size_t>(*size)]);
}

std::string valueOf(const HTMLAttribute& attribute) {
  return withoutControlCharacters(
      decodeCharacterReferences(attribute.rawValue, HTMLPlace::attribute));
}

}  // namespace

const HTMLRule* findHTMLRule(std::string_view name) {
  const auto* found =
      std::lower_bound(kRules.begin(), kRules.end(), name,
                       [](const HTMLRule& rule, std::string_view n) { return rule.name < n; });
  return found != kRules.end() && found->name == name ? found : nullptr;
}

HTMLKeptAttributes keepAttributes(const HTMLRule& rule, const std::vector<HTMLAttribute>& all) {
  HTMLKeptAttributes kept;
  Style style(rule.role);
  style.addAll(rule.style);
  if (rule.written == "pre") kept.preservesSpace = true;
  for (const HTMLAttribute& attribute : all) {
    const std::string& name = attribute.name;
    const auto value = [&] { return valueOf(attribute); };
    if (name == "style") {
      style.addAll(value());
    } else if (name == "hidden") {
      kept.hidden = true;
    } else if (name == "dir") {
      const std::string direction = lowercase(value());
      if (direction == "ltr" || direction == "rtl" || direction == "auto") {
        appendAttribute(name, direction, kept.text);
      }
    } else if (name == "align") {
      const std::string side = lowercase(value());
      if (side == "left" || side == "right" || side == "center" || side == "justify") {
        style.add("text-align", side);
      }
    } else if (name == "bgcolor") {
      style.add("background-color", value());
    } else if (name == "color" && rule.name == "font") {
      style.add("color", value());
    } else if (name == "face" && rule.name == "font") {
      style.add("font-family", value());
    } else if (name == "size" && rule.name == "font") {
      addLegacyFontSize(value(), style);
    } else if (name == "href" && rule.role == Role::anchor) {
      const std::string link = cleanedLink(value());
      if (isLinkForDocuments(link)) appendAttribute(name, link, kept.text);
    } else if ((name == "colspan" || name == "rowspan") && rule.role == Role::cell) {
      keepNumber(attribute, 1000, kept.text);
    } else if (name == "start" && rule.written == "ol") {
      keepNumber(attribute, 1'000'000'000, kept.text);
    }
  }
  if (!style.text().empty()) appendAttribute("style", style.text(), kept.text);
  kept.hidden |= style.hidden();
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
  for (const HTMLAttribute& attribute : all) {
    if (attribute.name == "width" || attribute.name == "height") keepNumber(attribute, 10000, tag);
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
