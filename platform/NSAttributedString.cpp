#include "platform/NSAttributedString.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "platform/NSException.h"
#include "text/LinkSchemes.h"
#include "text/UTF8.h"

namespace korvane {
namespace {

using Attributes = NSAttributedString::Attributes;
using Run = NSAttributedString::Run;

bool isLineBreak(char32_t code) {
  return (code >= '\n' && code <= '\r') || code == 0x85 || code == 0x2028 || code == 0x2029;
}

bool isControl(char32_t code) { return code < 0x20 || (code >= 0x7F && code < 0xA0); }

bool isNoncharacter(char32_t code) {
  return (code & 0xFFFE) == 0xFFFE || (code >= 0xFDD0 && code <= 0xFDEF);
}

// A paragraph takes its direction from its own text.
constexpr std::string_view kParagraphBegin = "<div dir=\"auto\">";
constexpr std::string_view kParagraphEnd = "</div>";

// Writes the characters of a text as HTML, one after the other.
class CharacterWriter {
 public:
  CharacterWriter(std::string_view text, std::string& out) : text_(text), out_(out) {}

  std::size_t position() const { return position_; }

  // Whether the last paragraph, which ends with an empty line, is complete and another one begins.
  bool isBetweenParagraphs() const {
    return afterEmptyLine_ && lineStart_ && !isLineBreak(characterHere().code);
  }

  // Writes the next character; a line break of two bytes counts as one.
  void writeNext() {
    const UTF8Character here = characterHere();
    const char32_t code = here.code;
    const std::string_view bytes = text_.substr(position_, here.size);
    position_ += here.size;
    if (isLineBreak(code)) {
      if (code == '\r' && position_ < text_.size() && text_[position_] == '\n') ++position_;
      out_ += "<br>\n";
      afterEmptyLine_ = emptyLine_;
      emptyLine_ = true;
      lineStart_ = true;
      afterSpace_ = false;
      return;
    }
    if (code == ' ') return writeSpace();
    if (code == '\t') return writeTabs();
    if (isControl(code)) return;  // illegal in HTML, and nothing to see
    emptyLine_ = false;
    lineStart_ = false;
    afterSpace_ = false;
    switch (code) {
      case '&':
        out_ += "&amp;";
        break;
      case '<':
        out_ += "&lt;";
        break;
      case '>':
        out_ += "&gt;";
        break;
      case '"':
        out_ += "&quot;";
        break;
      case 0xA0:
        out_ += "&nbsp;";
        break;
      default:
        if (code == kReplacementCharacter || isNoncharacter(code)) {
          out_ += kReplacementUTF8;
        } else {
          out_ += bytes;
        }
    }
  }

 private:
  // HTML shows one of several spaces and none at either end of a line: every one that would vanish
  // becomes a no-break space, the others stay, so that long lines still wrap.
  void writeSpace() {
    const bool lineEnd = position_ == text_.size() || isLineBreak(characterHere().code);
    const bool vanishes = lineStart_ || afterSpace_ || lineEnd;
    out_ += vanishes ? "&nbsp;" : " ";
    lineStart_ = false;
    afterSpace_ = !vanishes;
  }

  // Tabs stay what they are, where a style keeps them: they reach to the same places in every line,
  // whatever the font, and are tabs again when the text is copied.
  void writeTabs() {
    out_ += "<span style=\"white-space:pre\">\t";
    for (; position_ < text_.size() && text_[position_] == '\t'; ++position_) out_ += '\t';
    out_ += "</span>";
    lineStart_ = false;
    afterSpace_ = true;
  }

  // What is not UTF-8 gives U+FFFD for each byte sequence that breaks off, as browsers do.
  UTF8Character characterHere() const {
    return position_ < text_.size() ? firstUTF8Character(text_.substr(position_)) : UTF8Character{};
  }

  std::string_view text_;
  std::string& out_;
  std::size_t position_ = 0;
  bool lineStart_ = true;        // nothing of the line is written yet
  bool emptyLine_ = true;        // nothing of it but spaces
  bool afterEmptyLine_ = false;  // the line before was such a one
  bool afterSpace_ = false;
};

void appendEscaped(std::string_view attributeValue, std::string& out) {
  for (const char c : attributeValue) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
}

void openTags(const Attributes& attributes, std::string& out) {
  if (attributes.link && isLinkForDocuments(attributes.link->absoluteString())) {
    out += "<a href=\"";
    appendEscaped(attributes.link->absoluteString(), out);
    out += "\">";
  }
  if (attributes.bold) out += "<b>";
  if (attributes.italic) out += "<i>";
  if (attributes.underline) out += "<u>";
  if (attributes.color) {
    std::array<char, 40> span{};
    std::snprintf(span.data(), span.size(), "<span style=\"color:#%06x\">",
                  static_cast<unsigned>(*attributes.color & 0xFFFFFF));
    out += span.data();
  }
}

void closeTags(const Attributes& attributes, std::string& out) {
  if (attributes.color) out += "</span>";
  if (attributes.underline) out += "</u>";
  if (attributes.italic) out += "</i>";
  if (attributes.bold) out += "</b>";
  if (attributes.link && isLinkForDocuments(attributes.link->absoluteString())) out += "</a>";
}

// The document of a part of a text; `runs` are the runs of the whole text, whose lengths tell where
// each ends.
NSData document(std::string_view text, std::size_t location, std::size_t length,
                const std::vector<Run>& runs) {
  std::string out = "<!DOCTYPE html>\n<html>\n<head><meta charset=\"utf-8\"></head>\n<body>";
  out.reserve(out.size() + length + length / 8 + 64);
  CharacterWriter writer(text.substr(location, length), out);
  const auto beginParagraph = [&] {
    out += kParagraphEnd;
    out += kParagraphBegin;
  };
  if (length > 0) out += kParagraphBegin;
  std::size_t runEnd = 0;
  for (const Run& run : runs) {
    runEnd += run.text.size();
    const std::size_t end = std::min(runEnd, location + length);
    if (location + writer.position() >= end) continue;
    if (writer.isBetweenParagraphs()) beginParagraph();
    openTags(run.attributes, out);
    writer.writeNext();
    while (location + writer.position() < end) {
      if (writer.isBetweenParagraphs()) {
        closeTags(run.attributes, out);
        beginParagraph();
        openTags(run.attributes, out);
      }
      writer.writeNext();
    }
    closeTags(run.attributes, out);
  }
  if (length > 0) out += kParagraphEnd;
  out += "</body>\n</html>\n";
  return {out.begin(), out.end()};
}

}  // namespace

struct NSAttributedString::Content {
  std::string text;
  std::vector<Run> runs;            // their texts together are `text`
  std::optional<std::string> html;  // the whole document, where the text came as one
};

NSAttributedString::NSAttributedString(std::string_view text)
    : NSAttributedString(std::vector<Run>{{std::string(text), {}}}) {}

NSAttributedString::NSAttributedString(std::vector<Run> runs) {
  std::string text;
  for (const Run& run : runs) text += run.text;
  content_ =
      std::make_shared<const Content>(Content{std::move(text), std::move(runs), std::nullopt});
}

std::optional<NSAttributedString> NSAttributedString::initWithHTML(const NSData& html,
                                                                   std::string_view baseURL) {
  auto read = HTMLReader::installed()->read(html, baseURL);
  if (!read) return std::nullopt;
  NSAttributedString styled;
  std::vector<Run> runs{{read->text, {}}};
  styled.content_ = std::make_shared<const Content>(
      Content{std::move(read->text), std::move(runs), std::move(read->html)});
  return styled;
}

const std::string& NSAttributedString::string() const { return content_->text; }

std::optional<NSData> NSAttributedString::dataFromRange(std::size_t location, std::size_t length,
                                                        NSDocumentType documentType) const {
  const std::string& text = content_->text;
  if (location > text.size() || length > text.size() - location) {
    throw NSException(NSRangeException, "Range {" + std::to_string(location) + ", " +
                                            std::to_string(length) + "} out of bounds; length " +
                                            std::to_string(text.size()));
  }
  if (documentType != NSDocumentType::html) return std::nullopt;
  if (content_->html && length == text.size()) {
    return NSData(content_->html->begin(), content_->html->end());
  }
  return document(text, location, length, content_->runs);
}

bool isLinkForDocuments(std::string_view url) {
  const std::size_t colon = url.find(':');
  if (colon == std::string_view::npos) return false;
  const LinkScheme* scheme = findLinkScheme(url.substr(0, colon));
  return scheme != nullptr && scheme->forDocuments;
}

}  // namespace korvane
