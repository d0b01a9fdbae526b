#include "host/ContentText.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "host/InputData.h"
#include "platform/NSDataDetector.h"

namespace korvane {
namespace {

using Content = ShareRequest::Content;

std::string documentOf(const NSAttributedString& text) {
  const auto html = text.dataFromRange(0, text.length(), NSDocumentType::html);
  return html ? std::string(html->begin(), html->end()) : std::string();
}

// A text with its addresses as links.
NSAttributedString linked(std::string_view text) {
  std::vector<NSAttributedString::Run> runs;
  std::size_t end = 0;
  for (NSTextCheckingResult& link : NSDataDetector::installed()->matchesInString(text)) {
    if (link.location > end) {
      runs.push_back({std::string(text.substr(end, link.location - end)), {}});
    }
    end = link.location + link.length;
    runs.push_back(
        {std::string(text.substr(link.location, link.length)), {.link = std::move(link.url)}});
  }
  if (end < text.size()) runs.push_back({std::string(text.substr(end)), {}});
  return NSAttributedString(std::move(runs));
}

NSAttributedString plain(const std::string& bytes) {
  // NUL characters, which make it no text, are dropped by whoever shows it.
  return linked(decodeText(bytes).value_or(bytes));
}

NSAttributedString styled(const Content& piece) {
  if (piece.kind == Content::Kind::html) {
    const NSData data(piece.bytes.begin(), piece.bytes.end());
    if (auto text = NSAttributedString::initWithHTML(data, piece.baseUrl)) return *text;
  }
  return plain(piece.bytes);
}

// Where the body of a document stands. The documents come from styled texts, which write the tags
// in lower case and once; other marks of the kind are escaped there.
struct Body {
  explicit Body(std::string_view document)
      : tag(document.find("<body")),
        begin(document.find('>', tag)),
        end(document.rfind("</body>")) {}
  bool isThere() const { return begin != std::string::npos && end != std::string::npos; }
  std::size_t tag, begin, end;  // of the begin tag, of its ">", of the end tag
};

// Puts the body of one document, as a block with its style, behind that of the other.
void append(std::string& document, const std::string& other) {
  constexpr std::size_t kTag = 5;  // "<body"
  const Body to(document);
  const Body from(other);
  if (!to.isThere() || !from.isThere()) {
    document += other;  // a reader puts it into the body
    return;
  }
  document.insert(to.end,
                  "<div" + other.substr(from.tag + kTag, from.end - from.tag - kTag) + "</div>");
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
  if (!anyHTML) return linked(text);
  auto whole = NSAttributedString::initWithHTML(NSData(document.begin(), document.end()));
  return whole ? *whole : linked(text);
}

}  // namespace korvane
