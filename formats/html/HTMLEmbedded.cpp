// What documents embed: pictures, drawings, formulas, films, other documents, boxes to check,
// readings of characters and rules of style.
#include <algorithm>
#include <array>

#include "formats/html/CSSWords.h"
#include "formats/html/HTMLCharacters.h"
#include "formats/html/HTMLLinks.h"
#include "formats/html/HTMLWriter.h"
#include "text/ASCII.h"

namespace korvane {
namespace {

using Role = HTMLRole;

constexpr std::size_t kMaxMath = 64;

bool isWebAddress(std::string_view address) { return isLinkBase(address); }

// Parts of drawings and formulas whose text is not shown.
bool isUnseen(std::string_view name) {
  static constexpr std::array<std::string_view, 9> kNames = {
      "annotation", "annotation-xml", "defs",        "desc", "metadata",
      "none",       "symbol",         "mprescripts", "title"};
  return std::find(kNames.begin(), kNames.end(), name) != kNames.end();
}

}  // namespace

HTMLSurroundings HTMLWriter::surroundings() {
  const bool roomLeft = out_.size() <= mostBytes_;
  return {roomLeft ? &sheet_ : nullptr, &budget_,    base_,
          isBackgroundLost(),           lostColor(), blocks_.back().tableSide};
}

// The first base that leads somewhere counts.
void HTMLWriter::startBase(const HTMLToken& token) {
  const std::string address = attributeValue(token.attributes, "href");
  if (hasBase_ || address.empty()) return;
  const std::string base = resolvedLink(cleanedLink(address), base_);
  hasBase_ = true;
  if (isLinkBase(base)) base_ = base;
}

void HTMLWriter::startSheet(const HTMLToken& token) {
  skip(token);
  const std::string type = lowercase(attributeValue(token.attributes, "type"));
  const std::string media = lowercase(attributeValue(token.attributes, "media"));
  const auto shownOn = cssList(media);
  const bool isSeen = std::any_of(shownOn.begin(), shownOn.end(), [](std::string_view one) {
    if (one.starts_with("only ")) one = withoutOuterSpace(one.substr(5));
    return one.empty() || one == "all" || one == "screen";
  });
  const bool isRead = !isSheetComplete_ && (type.empty() || type == "text/css") && isSeen;
  skippedText_ = isRead ? &sheetText_ : nullptr;
}

// A link in place of something that is at the address.
void HTMLWriter::addLink(std::string_view source, std::string_view name) {
  if (source.empty()) return;
  const std::string link = resolvedLink(cleanedLink(std::string(source)), base_);
  if (!isWebAddress(link) || isHidden() || !isVisible()) return;
  const bool inLink = std::any_of(styles_.begin(), styles_.end(),
                                  [](const TextStyle& style) { return !style.link.empty(); });
  if (inLink) return losePicture();
  std::string attribute = " href=\"";
  appendHTMLEscaped(link, attribute);
  HTMLKeptAttributes kept;
  kept.text = attribute + '"';
  kept.link = link;
  const HTMLRule& anchor = *findHTMLRule("a");
  openContainers();
  const std::size_t count = styles_.size();
  startStyle(anchor, std::move(kept));
  text(isHTMLSpaceOnly(name) ? std::string_view(link) : name);
  if (styles_.size() > count) endStyle(styles_.size() - 1);
}

void HTMLWriter::startFrame(const HTMLToken& token) {
  skip(token);
  const auto isNothing = [&](std::string_view side) {
    const std::string length = attributeValue(token.attributes, side);
    return length == "0" || length == "1";
  };
  const bool isHiddenFrame = keep(*findHTMLRule("iframe"), token.attributes).hidden ||
                             isNothing("width") || isNothing("height");
  if (isHiddenFrame) return;
  addLink(attributeValue(token.attributes, "src"), attributeValue(token.attributes, "title"));
}

void HTMLWriter::startMedia(const HTMLToken& token) {
  if (keep(*findHTMLRule("video"), token.attributes).hidden) return skip(token);
  media_ = token.name;
  mediaSource_ = attributeValue(token.attributes, "src");
  mediaLink_ = mediaWritten_ = false;
}

// Whether the token is of a film or sound: of what stands in it for programs that cannot play it,
// the links stay, else a link to itself.
bool HTMLWriter::isMedia(const HTMLToken& token) {
  if (media_.empty()) return false;
  if (token.kind == HTMLToken::Kind::text) {
    if (mediaLink_ && !isHTMLSpaceOnly(token.text)) mediaWritten_ = true;
    return !mediaLink_;
  }
  const bool isEnd = token.kind == HTMLToken::Kind::endTag;
  if (token.name == "a") {
    mediaLink_ = !isEnd;
    return false;
  }
  const HTMLRule* rule = findHTMLRule(token.name);
  const bool isSkipped =
      rule != nullptr &&
      (rule->role == Role::skipped || rule->role == Role::sheet || rule->role == Role::frame);
  if (!isEnd && isSkipped) skip(token);
  if (!isEnd && token.name == "source" && mediaSource_.empty()) {
    mediaSource_ = attributeValue(token.attributes, "src");
  }
  if (isEnd && token.name == media_) {
    media_.clear();
    if (mediaLink_) endTag("a");
    if (!mediaWritten_) addLink(mediaSource_, {});
  }
  return true;
}

// A box that is checked or not, of a form or of a list of tasks.
void HTMLWriter::checkBox(const HTMLToken& token) {
  if (token.attributes.empty()) return;
  const bool isInput = token.name == "input";
  const std::string kind = attributeValue(token.attributes, isInput ? "type" : "role");
  if (!equalIgnoringCase(kind, "checkbox")) return;
  bool checked = attributeValue(token.attributes, "aria-checked") == "true";
  if (isInput) {
    const HTMLKeptAttributes kept = keep(*findHTMLRule("input"), token.attributes);
    if (kept.hidden || kept.visible == false) return;
    checked = std::any_of(token.attributes.begin(), token.attributes.end(),
                          [](const HTMLAttribute& one) { return one.name == "checked"; });
  }
  text(checked ? "\u2611" : "\u2610");
  if (!isInput) text(" ");
}

void HTMLWriter::picture(const HTMLToken& token) {
  constexpr std::size_t kMaxPictures = std::size_t{32} << 20;  // the bytes of all of them
  const HTMLKeptAttributes kept = keep(*findHTMLRule("img"), token.attributes);
  if (isHidden() || kept.hidden || !kept.visible.value_or(isVisible())) return;
  const auto tag = pictureTag(token.attributes);
  if (!tag || pictureBytes_ + tag->size() > kMaxPictures) {
    const std::string instead = attributeValue(token.attributes, "alt");
    return isHTMLSpaceOnly(instead) ? losePicture() : text(instead);
  }
  pictureBytes_ += tag->size();
  beginText();
  out_ += *tag;
  plain_.text("\xEF\xBF\xBC");
}

// A picture that nothing tells of, in a link: the link keeps its address as text.
void HTMLWriter::losePicture() {
  if (isHidden() || !isVisible()) return;
  for (std::size_t i = styles_.size(); i-- > 0;) {
    if (styles_[i].link.empty()) continue;
    styles_[i].lostPicture = true;
    return openContainers();
  }
}

// The addresses of links that end with the blocks from the depth on.
void HTMLWriter::writeLostPictures(std::size_t depth) {
  for (std::size_t i = styles_.size(); i-- > 0 && styles_[i].depth >= depth;) {
    if (!styles_[i].lostPicture || styles_[i].written) continue;
    styles_[i].lostPicture = false;
    text(std::string(styles_[i].link));
  }
}

void HTMLWriter::endReading() {
  const bool wasWritten = reading_ == Reading::written;
  reading_ = Reading::none;
  if (wasWritten) text("\uFF09");
}

void HTMLWriter::startForeign(const HTMLToken& token) {
  const HTMLKeptAttributes kept = keep(*findHTMLRule(token.name), token.attributes);
  if (kept.hidden || kept.visible == false) {
    if (!token.selfClosing) skip(token);
    return;
  }
  foreign_ = token.name;
  foreignDepth_ = 1;
  foreignTexts_ = 0;
  foreignWritten_ = false;
  foreignTitle_ = attributeValue(token.attributes, "aria-label");
  if (token.selfClosing) endForeign();
}

// Whether the token is of a drawing or a formula. Of the markup of these only the text stays.
bool HTMLWriter::isForeign(const HTMLToken& token) {
  if (foreign_.empty()) return false;
  const bool isFormula = foreign_ == "math";
  if (token.kind == HTMLToken::Kind::text) {
    if (!isFormula && foreignTexts_ == 0) return true;
    if (isFormula && isHTMLSpaceOnly(token.text)) return true;
    foreignWritten_ = foreignWritten_ || !isHTMLSpaceOnly(token.text);
    text(withoutControlCharacters(token.text));
    return true;
  }
  const bool isText = token.name == "text" || token.name == "foreignobject";
  if (token.kind == HTMLToken::Kind::endTag) {
    if (token.name == foreign_) {
      if (--foreignDepth_ == 0) endForeign();
    } else if (isFormula) {
      endFormulaPart();
    } else if (isText && foreignTexts_ > 0) {
      --foreignTexts_;
      text(" ");
    }
    return true;
  }
  if (token.name == foreign_) {
    if (!token.selfClosing) ++foreignDepth_;
    return true;
  }
  const HTMLRule* rule = findHTMLRule(token.name);
  const Role role = rule == nullptr ? Role::anchor : rule->role;
  const bool isRaw = role == Role::skipped || role == Role::sheet || role == Role::frame;
  if (isRaw || isUnseen(token.name)) {
    if (token.selfClosing && !isRaw) return true;
    skip(token);
    if (token.name == "title" && foreignTitle_.empty()) skippedText_ = &foreignTitle_;
    return true;
  }
  const bool isOfHTML = role != Role::anchor && role != Role::foreign && role != Role::media &&
                        role != Role::base && role != Role::input && role != Role::root;
  if (isOfHTML) {
    // An element of HTML ends a drawing or a formula that was not closed.
    endForeign();
    return false;
  }
  if (isFormula) {
    startFormulaPart(token);
    if (token.selfClosing) endFormulaPart();
  } else if (isText && !token.selfClosing) {
    ++foreignTexts_;
  }
  return true;
}

void HTMLWriter::startFormulaPart(const HTMLToken& token) {
  if (math_.size() == kMaxMath) {
    ++deepMath_;
    return;
  }
  MathElement part;
  if (!math_.empty()) {
    MathElement& whole = math_.back();
    ++whole.parts;
    if (whole.parts == 2) text(whole.between);
    if (whole.isScript && whole.parts > 1) {
      part.style = findHTMLRule(whole.lowerFirst && whole.parts == 2 ? "sub" : "sup");
      startStyle(*part.style, {});
    }
  }
  const std::string_view name = token.name;
  const bool isUnder = name == "munder" || name == "munderover";
  part.isScript = name == "msup" || name == "msub" || name == "msubsup" || isUnder;
  part.lowerFirst = name == "msub" || name == "msubsup" || isUnder;
  part.isFraction = name == "mfrac";
  if (part.isFraction) part.between = "/";
  if (name == "mrow" && !math_.empty() && math_.back().isFraction) {
    text("(");
    part.closing = ")";
  }
  if (name == "mroot") {
    text("(");
    part.between = ")^(1/";
    part.closing = ")";
  }
  if (name == "mtr" || name == "mtd") part.closing = " ";
  if (name == "msqrt") {
    text("\u221A(");
    part.closing = ")";
  }
  math_.push_back(part);
}

void HTMLWriter::endFormulaPart() {
  if (deepMath_ > 0) {
    --deepMath_;
    return;
  }
  if (math_.empty()) return;
  const MathElement part = math_.back();
  math_.pop_back();
  text(part.closing);
  if (part.style != nullptr) endTag(part.style->name);
}

void HTMLWriter::endForeign() {
  if (foreign_.empty()) return;
  deepMath_ = 0;
  while (!math_.empty()) endFormulaPart();
  foreign_.clear();
  if (foreignWritten_) return;
  const std::string title = withoutControlCharacters(foreignTitle_);
  if (isHTMLSpaceOnly(title)) {
    losePicture();
  } else {
    text(title);
  }
}

}  // namespace korvane
