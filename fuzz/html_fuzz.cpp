// HTML documents of any bytes: what is written is UTF-8, holds only elements, attributes, styles
// and addresses that may stay, shows the plain text, grows with what is read, and reads again as
// the same document.

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

#include "formats/html/CSSStyle.h"
#include "formats/html/CSSValues.h"
#include "formats/html/HTML.h"
#include "formats/html/HTMLCharacters.h"
#include "formats/html/HTMLRules.h"
#include "formats/html/HTMLTokens.h"
#include "fuzz/Require.h"
#include "platform/NSString.h"

namespace {

using namespace korvane;

constexpr std::array<std::string_view, 24> kAttributes = {
    "align", "alt",    "border", "cellpadding", "cellspacing", "charset",  "colspan", "dir",
    "frame", "height", "href",   "lang",        "nowrap",      "reversed", "rowspan", "rules",
    "src",   "start",  "style",  "title",       "type",        "valign",   "value",   "width"};

bool isOneOf(std::string_view name) {
  return std::find(kAttributes.begin(), kAttributes.end(), name) != kAttributes.end();
}

bool isHarmlessStyle(const std::string& style) {
  for (const CSSDeclaration& one : readDeclarations(style)) {
    if (harmlessValue(one.value) != one.value) return false;
    if (one.property == "position" || one.property == "display") return false;
  }
  return style.find("url") == style.npos || style.find("url(") == style.npos;
}

bool isHarmless(const HTMLToken& tag) {
  for (const HTMLAttribute& attribute : tag.attributes) {
    const std::string value = attributeValue(tag.attributes, attribute.name);
    if (!isOneOf(attribute.name)) return false;
    if (attribute.name == "href" && !isLinkForDocuments(value)) return false;
    if (attribute.name == "src" && (tag.name != "img" || !value.starts_with("data:image/"))) {
      return false;
    }
    if (attribute.name == "style" && !isHarmlessStyle(value)) return false;
  }
  if (tag.name == "html" || tag.name == "head" || tag.name == "meta" || tag.name == "img") {
    return true;
  }
  const HTMLRule* rule = findHTMLRule(tag.name);
  return rule != nullptr && rule->written == rule->name;
}

// The characters that are seen, white space aside.
std::string seen(std::string_view text) {
  std::string out;
  std::copy_if(text.begin(), text.end(), std::back_inserter(out),
               [](char c) { return !isHTMLSpace(c); });
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  HTML reader;
  const auto once = reader.read(NSData(data, data + size), "https://a.example/b/c?d#e");
  REQUIRE(once);
  REQUIRE(isUTF8(once->html) && isUTF8(once->text));
  REQUIRE(once->html.size() <= 32 * size + (std::size_t{1} << 18));

  HTMLTokens tokens(once->html);
  HTMLToken token;
  std::string shown;
  while (tokens.next(token)) {
    REQUIRE(token.kind != HTMLToken::Kind::startTag || isHarmless(token));
    if (token.kind == HTMLToken::Kind::text) shown += token.text;
    if (token.kind == HTMLToken::Kind::startTag && token.name == "img") shown += "\xEF\xBF\xBC";
  }
  REQUIRE(seen(shown) == seen(once->text));

  const auto twice = reader.read(NSData(once->html.begin(), once->html.end()), {});
  REQUIRE(twice && twice->html == once->html && twice->text == once->text);
  return 0;
}
