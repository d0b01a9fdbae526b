// A message's body as HTML.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/ExtensionMessage.h"
#include "platform/NSFormat.h"
#include "platform/NSLog.h"

namespace korvane {
namespace {

/// How long the HTML of a plain body may become. A link that stands in a text k times is replaced k
/// times, which doubles the anchors each time: forty copies of one short link would make terabytes.
std::size_t maximumRendering(std::size_t plainBody) {
  return (std::size_t{64} << 20) + 8 * plainBody;
}

/// Where `searched` (not empty) stands in the text, from left to right without overlaps. Linear
/// also where both repeat themselves (Knuth, Morris and Pratt's search), unlike string_view::find.
std::vector<std::size_t> occurrences(std::string_view text, std::string_view searched) {
  // borders[n]: length of the longest true prefix of the first n characters that also ends them.
  std::vector<std::size_t> borders(searched.size() + 1, 0);
  for (std::size_t n = 1, border = 0; n < searched.size(); ++n) {
    while (border > 0 && searched[n] != searched[border]) border = borders[border];
    if (searched[n] == searched[border]) ++border;
    borders[n + 1] = border;
  }

  std::vector<std::size_t> positions;
  std::size_t matched = 0;
  std::size_t at = 0;
  while (at < text.size()) {
    if (matched == 0) {
      at = text.find(searched.front(), at);
      if (at == std::string_view::npos) break;
    } else if (text[at] != searched[matched]) {
      matched = borders[matched];
      continue;
    }
    ++at;
    if (++matched < searched.size()) continue;
    positions.push_back(at - searched.size());
    matched = 0;
  }
  return positions;
}

/// The text with every occurrence of `searched` (not empty) replaced. Absent when the result would
/// be longer than `limit`.
std::optional<std::string> stringByReplacingOccurrences(std::string_view text,
                                                        std::string_view searched,
                                                        std::string_view replacement,
                                                        std::size_t limit) {
  const std::vector<std::size_t> positions = occurrences(text, searched);
  const std::size_t kept = text.size() - positions.size() * searched.size();
  if (kept > limit || positions.size() > (limit - kept) / replacement.size()) {
    return std::nullopt;
  }
  std::string result;
  result.reserve(kept + positions.size() * replacement.size());
  std::size_t from = 0;
  for (const std::size_t at : positions) {
    result.append(text, from, at - from);
    result.append(replacement);
    from = at + searched.size();
  }
  result.append(text, from);
  return result;
}

}  // namespace

std::string ExtensionMessage::renderHtml() {
  const std::optional<std::string> html = htmlBody();
  const std::optional<std::string> plain = plainBody();
  const bool hasPlain = plain && !plain->empty();

  if (html && (!html->empty() || !hasPlain)) {
    for (const Value& attachment : attachments().value_or(List())) {
      appendToHtmlBody(stringWithFormat(
          "<img src=\"file://%@\"/><br/>",
          attachment.isURL() ? attachment.url().absoluteString() : attachment.description()));
    }
    return htmlBody().value_or(std::string());
  }

  if (!hasPlain) return {};
  const std::size_t limit = maximumRendering(plain->size());
  std::string body = stringByReplacingOccurrences(*plain, "\n", "<br>", limit).value();
  setPlainBody(body);
  // Every link is replaced wherever its text stands, also inside anchors already written.
  for (const std::string& link : searchUrlsDetector(body)) {
    if (link.empty()) continue;
    std::optional<std::string> replaced = stringByReplacingOccurrences(
        body, link, stringWithFormat("<a href='%@'>%@</a>", link, link), limit);
    if (!replaced) {
      NSLog("ExtensionMessage renderHtml: too many copies of one link, the rest stays plain");
      break;
    }
    if (replaced->size() == body.size()) continue;  // the link was normalised
    body = std::move(*replaced);
    setPlainBody(body);
  }
  return body;
}

}  // namespace korvane
