#include "host/ContentText.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "host/InputData.h"

namespace korvane {
namespace {

using Content = ShareRequest::Content;

std::string documentOf(const NSAttributedString& text) {
  const auto html = text.dataFromRange(0, text.length(), NSDocumentType::html);
  return html ? std::string(html->begin(), html->end()) : std::string();
}

NSAttributedString plain(const std::string& bytes) {
  // NUL characters, which make it no text, are dropped by whoever shows it.
  return NSAttributedString(decodeText(bytes).value_or(bytes));
}

NSAttributedString styled(const Content& piece) {
  if (piece.kind == Content::Kind::html) {
    const NSData data(piece.bytes.begin(), piece.bytes.end());
    if (auto text = NSAttributedString::initWithHTML(data)) return *text;
  }
  return plain(piece.bytes);
}

// What stands between "<NAME …>" and "</NAME>"; the documents come from styled texts, which write
// these tags in lower case and once.
struct Span {
  std::size_t begin = std::string::npos;
  std::size_t end = std::string::npos;
};
Span inner(std::string_view document, const std::string& name) {
  const std::size_t open = document.find('<' + name);
  const std::size_t begin = document.find('>', open == std::string::npos ? document.size() : open);
  const std::size_t end = document.rfind("</" + name + '>');
  if (begin == std::string::npos || end == std::string::npos || end <= begin) return {};
  return {begin + 1, end};
}

// Puts the body of one document behind that of the other, and its style rules with it.
void append(std::string& document, const std::string& other) {
  const Span otherBody = inner(other, "body");
  const Span body = inner(document, "body");
  if (otherBody.end == std::string::npos || body.end == std::string::npos) {
    document += other;  // a reader puts it into the body
    return;
  }
  std::string added = "<div>" + other.substr(otherBody.begin, otherBody.end - otherBody.begin);
  document.insert(body.end, added + "</div>");
  const Span head = inner(document, "head");
  if (head.end == std::string::npos) return;
  std::size_t at = 0;
  while ((at = other.find("<style", at)) < otherBody.begin) {
    const std::size_t end = other.find("</style>", at);
    if (end == std::string::npos) return;
    constexpr std::size_t kEndTag = 8;
    document.insert(inner(document, "head").end, other, at, end + kEndTag - at);
    at = end;
  }
}

}  // namespace

std::optional<NSAttributedString> contentText(const std::vector<Content>& pieces) {
  std::vector<const Content*> given;
  for (const Content& piece : pieces) {
    if (!piece.bytes.empty()) given.push_back(&piece);
  }
  if (given.empty()) return std::nullopt;
  if (given.size() == 1) return styled(*given[0]);

  const bool anyHTML = std::any_of(given.begin(), given.end(), [](const Content* piece) {
    return piece->kind == Content::Kind::html;
  });
  std::string text;
  std::string document;
  for (const Content* piece : given) {
    if (!text.empty() && !text.ends_with('\n')) text += '\n';
    const NSAttributedString part = styled(*piece);
    text += part.string();
    if (!anyHTML) continue;
    if (document.empty()) {
      document = documentOf(part);
    } else {
      append(document, documentOf(part));
    }
  }
  if (!anyHTML) return NSAttributedString(text);
  auto whole = NSAttributedString::initWithHTML(NSData(document.begin(), document.end()));
  return whole ? *whole : NSAttributedString(text);
}

}  // namespace korvane
