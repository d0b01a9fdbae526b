#include "formats/html/HTML.h"

#include <new>

#include "formats/html/HTMLCharacters.h"
#include "formats/html/HTMLTokens.h"
#include "formats/html/HTMLWriter.h"

namespace korvane {

std::optional<HTMLText> HTML::read(const NSData& html, std::string_view baseURL) try {
  if (html.size() > kMaxBytes) return std::nullopt;
  const std::string document = htmlText(html);
  HTMLTokens tokens(document);
  HTMLWriter writer(document.size(), baseURL);
  HTMLToken token;
  while (tokens.next(token)) writer.write(token);
  writer.finish();
  return HTMLText{writer.takeText(), writer.takeHTML()};
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

}  // namespace korvane
