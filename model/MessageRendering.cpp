// A message's body as HTML.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/ExtensionMessage.h"
#include "model/detail/LinkAnchors.h"
#include "platform/NSFormat.h"
#include "platform/NSLog.h"

namespace korvane {
namespace {

/// How long the HTML of a plain body may become. A link that stands in a text k times is replaced k
/// times, which doubles the anchors each time: forty copies of one short link would make terabytes.
std::size_t maxRendering(std::size_t plainBody) { return (std::size_t{64} << 20) + 8 * plainBody; }

std::string withBreaks(std::string_view plain) {
  std::string html;
  html.reserve(plain.size());
  for (const char c : plain) {
    if (c == '\n') {
      html += "<br>";
    } else {
      html += c;
    }
  }
  return html;
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
  const std::string body = withBreaks(*plain);
  std::vector<std::string> links = searchUrlsDetector(body);
  std::erase(links, "");
  // A link that the detector normalised does not stand in the text, and stays plain.
  AnchoredText anchored = textWithAnchors(body, links, maxRendering(plain->size()));
  if (!anchored.complete) {
    NSLog("ExtensionMessage renderHtml: too many copies of one link, the rest stays plain");
  }
  setPlainBody(anchored.text);
  return std::move(anchored.text);
}

}  // namespace korvane
