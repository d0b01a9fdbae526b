#include "formats/html/HTML.h"

#include <new>

#include "formats/html/HTMLCharacters.h"
#include "formats/html/HTMLTokens.h"
#include "formats/html/HTMLWriter.h"

namespace korvane {
namespace {

void write(std::string_view document, HTMLWriter& writer) {
  HTMLTokens tokens(document);
  HTMLToken token;
  while (tokens.next(token)) writer.write(token);
  writer.finish();
}

}  // namespace

std::optional<HTMLText> HTML::read(const NSData& html, std::string_view baseURL) try {
  if (html.size() > kMaxBytes) return std::nullopt;
  const std::string document = htmlText(html);
  HTMLWriter writer(document.size(), baseURL);
  write(document, writer);
  if (!writer.hasLateSheet()) return HTMLText{writer.takeText(), writer.takeHTML()};
  // Rules that stand behind elements they are for: once more, with all of them from the start.
  HTMLWriter again(document.size(), baseURL, writer.takeSheet());
  write(document, again);
  return HTMLText{again.takeText(), again.takeHTML()};
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

}  // namespace korvane
