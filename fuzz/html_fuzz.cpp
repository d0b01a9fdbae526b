// HTML documents of any bytes: what is written is UTF-8, holds only elements and attributes that
// may stay, grows with what is read, and reads again as the same document.

#include <cstdint>
#include <string_view>

#include "formats/html/HTML.h"
#include "formats/html/HTMLRules.h"
#include "formats/html/HTMLTokens.h"
#include "fuzz/Require.h"
#include "platform/NSString.h"

namespace {

using namespace korvane;

bool isHarmless(const HTMLToken& tag) {
  if (tag.name == "html" || tag.name == "head" || tag.name == "meta" || tag.name == "img") {
    return true;
  }
  const HTMLRule* rule = findHTMLRule(tag.name);
  if (rule == nullptr || rule->role == HTMLRole::skipped) return false;
  for (const HTMLAttribute& attribute : tag.attributes) {
    if (attribute.name.starts_with("on") || attribute.name == "src") return false;
    if (attribute.name == "href" && !isLinkForDocuments(attributeValue(tag.attributes, "href"))) {
      return false;
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  HTML reader;
  const auto once = reader.read(NSData(data, data + size));
  REQUIRE(once);
  REQUIRE(isUTF8(once->html) && isUTF8(once->text));
  REQUIRE(once->html.size() <= 32 * size + (std::size_t{1} << 18));

  HTMLTokens tokens(once->html);
  HTMLToken token;
  while (tokens.next(token)) {
    REQUIRE(token.kind != HTMLToken::Kind::startTag || isHarmless(token));
  }

  const auto twice = reader.read(NSData(once->html.begin(), once->html.end()));
  REQUIRE(twice && twice->html == once->html && twice->text == once->text);
  return 0;
}
