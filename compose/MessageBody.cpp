#include "compose/MessageBody.h"

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <vector>

#include "compose/MailText.h"
#include "platform/NSAttributedString.h"
#include "platform/NSString.h"
#include "platform/Platform.h"
#include "platform/detail/Translation.h"
#include "text/ASCII.h"
#include "text/UTF8.h"

namespace korvane {
namespace {

constexpr std::string_view kPicture = "\uFFFC";

/// Reads a text of a command URL as what it is, UTF-8, whatever a document in it says of itself.
std::optional<HTMLText> read(std::string_view html) {
  const std::string text = std::string(kByteOrderMark).append(html);
  return Platform::current()->html->read(NSData(text.begin(), text.end()), {});
}

/// Where one of the tags begins.
std::size_t findTag(std::string_view text, std::initializer_list<std::string_view> tags) {
  for (std::size_t at = text.find('<'); at != text.npos; at = text.find('<', at + 1)) {
    for (const std::string_view tag : tags) {
      if (equalIgnoringCase(text.substr(at, tag.size()), tag)) return at;
    }
  }
  return text.npos;
}

struct Piece {
  std::string_view html;
  bool isDocument;
};

/// The documents of a body, and what stands between them.
std::vector<Piece> piecesOf(std::string_view html) {
  constexpr std::string_view kEnd = "</html>";
  std::vector<Piece> pieces;
  while (!html.empty()) {
    const std::size_t begin = findTag(html, {"<!doctype", "<html"});
    if (begin > 0) pieces.push_back({html.substr(0, begin), false});
    if (begin == html.npos) break;
    html.remove_prefix(begin);
    const std::size_t end = findTag(html, {kEnd});
    const std::size_t length = end == html.npos ? html.size() : end + kEnd.size();
    pieces.push_back({html.substr(0, length), true});
    html.remove_prefix(length);
  }
  return pieces;
}

/// What is inside the body of a sanitized document, in a block of its own that keeps the body's
/// attributes.
std::string contentOf(std::string_view document, bool asBlock) {
  const std::size_t tag = document.find("<body");
  const std::size_t open = document.find('>', tag);
  const std::size_t close = document.rfind("</body>");
  if (tag == document.npos || open == document.npos || close == document.npos || close < open) {
    return {};
  }
  const std::string_view attributes = document.substr(tag + 5, open - tag - 5);
  std::string content(document.substr(open + 1, close - open - 1));
  if (!asBlock) return content;
  return "<div" + std::string(attributes) + ">" + content + "</div>";
}

std::string replacingAll(std::string_view text, std::string_view from, std::string_view to) {
  std::string result;
  for (std::size_t at = text.find(from); at != text.npos; at = text.find(from)) {
    result.append(text.substr(0, at)).append(to);
    text.remove_prefix(at + from.size());
  }
  return result.append(text);
}

/// Whether a link's text tells its address already.
bool tells(std::string_view text, std::string_view address) {
  const auto same = [&](std::string_view form) {
    return text == form || (form.ends_with('/') && text == form.substr(0, form.size() - 1));
  };
  if (same(address)) return true;
  for (const std::string_view scheme : {"https://", "http://", "mailto:", "tel:", "sms:"}) {
    if (address.starts_with(scheme) && same(address.substr(scheme.size()))) return true;
  }
  return false;
}

std::string visibleText(std::string_view html) {
  const auto text = read(html);
  if (!text) return {};
  return stringByTrimmingWhitespaceAndNewlines(replacingAll(text->text, kPicture, ""));
}

/// A sanitized document with every link's address after its text, where the text does not tell it.
std::string withAddresses(std::string_view document) {
  constexpr std::string_view kLink = "<a href=\"";
  std::string result;
  for (;;) {
    const std::size_t link = document.find(kLink);
    const std::size_t quote =
        link == document.npos ? link : document.find('"', link + kLink.size());
    const std::size_t open = quote == document.npos ? quote : document.find('>', quote);
    const std::size_t close = open == document.npos ? open : document.find("</a>", open);
    if (close == document.npos) break;
    result += document.substr(0, close + 4);
    const std::string_view address =
        document.substr(link + kLink.size(), quote - link - kLink.size());
    const std::string text = visibleText(document.substr(open + 1, close - open - 1));
    if (!tells(text, visibleText(address))) {
      result += text.empty() ? "&lt;" : " &lt;";
      result += address;
      result += "&gt;";
    }
    document.remove_prefix(close + 4);
  }
  return result += document;
}

std::string plainOf(const std::string& document, LeftOutList& leftOut) {
  const auto text = read(withAddresses(document));
  if (!text) {
    leftOut.push_back({translated("the text"),
                       translated("is not in the plain part: there is not enough memory")});
    return {};
  }
  return plainLines(replacingAll(text->text, kPicture, ""));
}

std::string htmlOf(const std::string& plain) {
  const NSAttributedString text(plain);
  const auto html = text.dataFromRange(0, text.length(), NSDocumentType::html);
  return html ? std::string(html->begin(), html->end()) : std::string();
}

}  // namespace

MessageBody messageBody(std::string_view html, std::string_view plain, LeftOutList& leftOut) {
  std::string content;
  for (const Piece& piece : piecesOf(html)) {
    const auto sanitized = read(piece.html);
    if (!sanitized) {
      leftOut.push_back(
          {translated("the styled text"), translated("is not in the message: it is too large")});
      continue;
    }
    std::string inside = contentOf(sanitized->html, piece.isDocument);
    if (!piece.isDocument) inside = replacingAll(inside, "</a><a ", "</a><br>\n<a ");
    content += inside;
  }

  MessageBody body;
  body.plain = plainLines(plain);
  if (const auto joined = content.empty() ? std::nullopt : read(content)) {
    body.html = joined->html;
    if (body.plain.empty()) body.plain = plainOf(body.html, leftOut);
  } else {
    body.html = htmlOf(body.plain);
  }
  return body;
}

}  // namespace korvane
