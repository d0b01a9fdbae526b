// Text with the styles that are on: when each is written, what ends it, and which white space
// counts.
#include <algorithm>
#include <array>

#include "formats/html/HTMLCharacters.h"
#include "formats/html/HTMLWriter.h"

namespace korvane {
namespace {

using Role = HTMLRole;

constexpr std::size_t kMaxStyles = 64;

// The elements that style text since before there were style sheets.
bool goesOn(const HTMLRule& rule) {
  static constexpr std::array<std::string_view, 13> kNames = {
      "a", "b", "big", "code", "em", "font", "i", "s", "small", "strike", "strong", "tt", "u"};
  return std::binary_search(kNames.begin(), kNames.end(), rule.name);
}

}  // namespace

void HTMLWriter::startStyle(const HTMLRule& rule, HTMLKeptAttributes kept) {
  if (rule.role == Role::anchor) endLinks();
  if (goesOn(rule)) boundStyle(rule, kept.text);
  if (styles_.size() >= kMaxStyles) return;
  const bool needsAttributes = rule.written == "span" || rule.role == Role::anchor;
  const bool empty = needsAttributes && kept.text.empty();
  const bool noLink = rule.role == Role::anchor && kept.text.find(" href=\"") == kept.text.npos;
  const bool silent = empty || noLink || kept.hidden || isHidden() || out_.size() > mostBytes_;
  styles_.push_back({&rule, std::move(kept.text), blocks_.size(), silent, kept.hidden,
                     kept.preservesSpace, kept.visible, kept.background, std::move(kept.lostColor),
                     silent ? std::string() : std::move(kept.link)});
  if (kept.hidden) ++hiddenStyles_;
}

// Links do not nest: one that was begun in this cell ends, one around the table stops here.
void HTMLWriter::endLinks() {
  for (std::size_t i = styles_.size(); i-- > 0;) {
    if (styles_[i].rule->role != Role::anchor) continue;
    if (i >= blocks_.back().firstStyle) {
      endStyle(i);
    } else if (!styles_[i].silent) {
      if (i < writtenStyles_) closeStyles(i);
      styles_[i].silent = true;
    }
  }
}

void HTMLWriter::endStyle(std::size_t index) {
  if (styles_[index].lostPicture && !styles_[index].written) {
    styles_[index].lostPicture = false;
    text(std::string(styles_[index].link));
    // It may have opened cells, in which fewer styles are from outside now.
    for (Block& block : blocks_) {
      if (block.firstStyle > index) --block.firstStyle;
    }
  }
  if (index < writtenStyles_) closeStyles(index);
  if (styles_[index].hidden) --hiddenStyles_;
  styles_.erase(styles_.begin() + static_cast<std::ptrdiff_t>(index));
}

// What becomes of the styles that were begun in the block that ends: those of old go on behind it
// until they are ended, as in browsers, the others end with it.
void HTMLWriter::leaveStyles() {
  const std::size_t depth = blocks_.size();
  const bool goOn = !isBarrier(blocks_.back().rule->role);
  for (std::size_t i = styles_.size(); i-- > 0 && styles_[i].depth >= depth;) {
    TextStyle& style = styles_[i];
    if (goOn && goesOn(*style.rule)) {
      style.depth = depth - 1;
      style.wentOn = true;
    } else {
      endStyle(i);
    }
  }
}

// Of a style that went on behind its block no more than three of the same are on: a page may begin
// one in every paragraph and end none.
void HTMLWriter::boundStyle(const HTMLRule& rule, const std::string& attributes) {
  constexpr int kMaxSame = 3;
  int same = 0;
  for (std::size_t i = styles_.size(); i-- > blocks_.back().firstStyle;) {
    const TextStyle& style = styles_[i];
    if (style.rule != &rule || style.attributes != attributes) continue;
    if (++same >= kMaxSame && style.wentOn) return endStyle(i);
  }
}

void HTMLWriter::closeStyles(std::size_t keep) {
  while (writtenStyles_ > keep) {
    const TextStyle& style = styles_[--writtenStyles_];
    if (style.silent) continue;
    out_ += "</";
    out_ += style.rule->written;
    out_ += '>';
  }
  if (out_.size() <= mostBytes_) return;
  // Many blocks, each with many styles: from here on without them.
  for (std::size_t i = keep; i < styles_.size(); ++i) styles_[i].silent = true;
}

// Whether white space counts in text with the first `styles` of the text styles.
bool HTMLWriter::preservesSpace(std::size_t styles) const {
  while (styles-- > 0) {
    if (!styles_[styles].silent && styles_[styles].preservesSpace) {
      return *styles_[styles].preservesSpace;
    }
  }
  return blocks_.back().preservesSpace;
}

// What goes before any text or picture.
void HTMLWriter::beginText() {
  openContainers();
  Block& block = blocks_.back();
  block.hasContent = true;
  if (block.lineEnded) {
    block.lineEnded = false;
    const bool ended = out_.ends_with('\n');
    closeStyles();
    if (!block.preservesSpace) {
      if (!atBoundary_) lineBreak();
    } else if (!ended) {
      out_ += '\n';
      plain_.lineBreak();
    }
    space_ = '\0';
  }
  if (space_ != '\0') {
    // It stands before the styles that begin here: where spaces count it must be one.
    out_ += preservesSpace(writtenStyles_) ? ' ' : space_;
    plain_.text(" ");
    space_ = '\0';
  }
  for (; writtenStyles_ < styles_.size(); ++writtenStyles_) {
    const TextStyle& style = styles_[writtenStyles_];
    styles_[writtenStyles_].written = true;
    if (style.silent) continue;
    out_ += '<';
    out_ += style.rule->written;
    out_ += style.attributes;
    out_ += '>';
  }
  atBoundary_ = false;
}

void HTMLWriter::text(std::string_view text) {
  Block& block = blocks_.back();
  if (block.atTag && text.starts_with('\n')) text.remove_prefix(1);
  block.atTag = false;
  if (text.empty()) return;
  if (isHidden() || !isVisible()) return;
  if (holdsNoText(block.rule->role) && isHTMLSpaceOnly(text)) return;
  if (reading_ == Reading::begun && !isHTMLSpaceOnly(text)) {
    reading_ = Reading::written;
    this->text("\uFF08");
  }
  if (preservesSpace()) {
    beginText();
    appendHTMLEscaped(text, out_);
    plain_.text(text);
    return;
  }
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t begin = at;
    while (at < text.size() && isHTMLSpace(text[at])) ++at;
    if (at > begin && !atBoundary_ && space_ != '\n') {
      space_ = text.substr(begin, at - begin).find('\n') == text.npos ? ' ' : '\n';
    }
    const std::size_t word = at;
    while (at < text.size() && !isHTMLSpace(text[at])) ++at;
    if (at == word) continue;
    beginText();
    appendHTMLEscaped(text.substr(word, at - word), out_);
    plain_.text(text.substr(word, at - word));
  }
}

void HTMLWriter::lineBreak() {
  if (isHidden()) return;
  openContainers();
  blocks_.back().hasContent = true;
  out_ += "<br>";
  if (!preservesSpace(writtenStyles_)) out_ += '\n';
  plain_.lineBreak();
  boundary();
}

// Text styles stand inside of blocks in what is written, wherever they were begun.
bool HTMLWriter::isVisible() const {
  for (std::size_t i = styles_.size(); i-- > 0;) {
    if (styles_[i].visible) return *styles_[i].visible;
  }
  return blocks_.back().visible;
}

bool HTMLWriter::isBackgroundLost() const {
  for (std::size_t i = styles_.size(); i-- > 0;) {
    if (styles_[i].background == CSSBackground::outer) continue;
    return styles_[i].background == CSSBackground::lost;
  }
  return blocks_.back().backgroundLost;
}

std::string_view HTMLWriter::lostColor() const {
  for (std::size_t i = styles_.size(); i-- > 0;) {
    if (styles_[i].lostColor) return *styles_[i].lostColor;
  }
  return blocks_.back().lostColor;
}

}  // namespace korvane
