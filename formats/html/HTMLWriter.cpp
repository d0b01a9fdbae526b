#include "formats/html/HTMLWriter.h"

#include <algorithm>

#include "formats/html/HTMLCharacters.h"
#include "formats/html/HTMLLinks.h"

namespace korvane {
namespace {

using Role = HTMLRole;

constexpr std::size_t kMaxContainers = 200;
constexpr std::size_t kMaxInner = 64;
constexpr std::size_t kNone = static_cast<std::size_t>(-1);

bool isContainer(Role role) { return role != Role::item && !isTablePart(role); }

bool isBlock(Role role) {
  return role == Role::block || role == Role::paragraph || role == Role::line ||
         role == Role::list || role == Role::item || role == Role::table || isTablePart(role);
}

bool isHeading(const HTMLRule& rule) { return rule.role == Role::line && rule.written != "pre"; }

bool isDefinition(const HTMLRule& rule) { return rule.written == "dt" || rule.written == "dd"; }

// An item outside of any list.
const HTMLRule& strayItem() {
  static constexpr HTMLRule rule{"li", Role::block, "div", ""};
  return rule;
}

const HTMLRule& named(std::string_view name) { return *findHTMLRule(name); }

}  // namespace

HTMLWriter::HTMLWriter(std::size_t size, std::string_view base)
    : mostBytes_(size * 8 + (std::size_t{1} << 16)),
      budget_(size / 2 + (std::size_t{1} << 14)),
      base_(isLinkBase(base) ? base : std::string_view()) {
  out_.reserve(size + size / 8);
  blocks_.push_back({&named("body"), false, false, 0});
}

HTMLWriter::HTMLWriter(std::size_t size, std::string_view base, StyleSheet sheet)
    : HTMLWriter(size, base) {
  sheet_ = std::move(sheet);
  isSheetComplete_ = true;
}

void HTMLWriter::write(const HTMLToken& token) {
  if (skips(token) || isForeign(token) || isMedia(token)) return;
  if (token.kind == HTMLToken::Kind::text) return text(withoutControlCharacters(token.text));
  blocks_.back().atTag = false;
  if (token.kind == HTMLToken::Kind::endTag) return endTag(token.name);
  startTag(token);
}

// Whether the token is inside of an element that is left out with what it holds.
bool HTMLWriter::skips(const HTMLToken& token) {
  if (skipped_.empty()) return false;
  if (token.kind == HTMLToken::Kind::text) {
    if (skippedText_ != nullptr) *skippedText_ += token.text;
    return true;
  }
  if (token.name != skipped_) return true;
  const bool isEnd = token.kind == HTMLToken::Kind::endTag;
  if (!isEnd && !token.selfClosing) ++skippedDepth_;
  if (isEnd && --skippedDepth_ == 0) {
    skipped_.clear();
    if (skippedText_ == &sheetText_) {
      const bool hasRules = sheet_.read(withoutControlCharacters(sheetText_));
      hasLateSheet_ = hasLateSheet_ || (hasRules && hasElements_);
    }
    sheetText_.clear();
    skippedText_ = nullptr;
  }
  return true;
}

void HTMLWriter::skip(const HTMLToken& token) {
  skipped_ = token.name;
  skippedDepth_ = 1;
}

void HTMLWriter::startTag(const HTMLToken& token) {
  const HTMLRule* rule = findHTMLRule(token.name);
  if (rule == nullptr) return;
  switch (rule->role) {
    case Role::skipped:
      return skip(token);
    case Role::body:
      return startBody(token.attributes);
    case Role::root:
      for (const HTMLAttribute& one : token.attributes) {
        if (root_.size() < 2 && (one.name == "lang" || one.name == "dir")) root_.push_back(one);
      }
      return;
    case Role::base:
      return startBase(token);
    case Role::sheet:
      return startSheet(token);
    case Role::frame:
      return startFrame(token);
    case Role::media:
      return startMedia(token);
    case Role::foreign:
      return startForeign(token);
    case Role::input:
      return checkBox(token);
    case Role::ruby:
      endReading();
      reading_ = Reading::begun;
      return;
    case Role::rubyBase:
      return endReading();
    case Role::lineBreak:
      return lineBreak();
    case Role::separator:
      return separator();
    case Role::picture:
      return picture(token);
    case Role::inlined:
    case Role::anchor:
      startStyle(*rule, keep(*rule, token.attributes));
      return checkBox(token);
    default:
      break;
  }
  const HTMLKeptAttributes kept = keep(*rule, token.attributes);
  endReading();
  leaveParagraph();
  if (isHeading(*rule) && isHeading(*blocks_.back().rule) && blocks_.back().inner.empty()) pop();
  if (blocks_.back().rule->role == Role::line) {
    placeAside(*rule);
  } else if (rule->role == Role::item) {
    startItem(*rule, kept, token.attributes);
  } else if (isTablePart(rule->role)) {
    startTablePart(*rule, kept);
  } else {
    startBlock(*rule, kept);
  }
  checkBox(token);
}

void HTMLWriter::startBody(const std::vector<HTMLAttribute>& attributes) {
  if (hasBody_) return;
  hasBody_ = true;
  std::vector<HTMLAttribute> all = attributes;
  for (const HTMLAttribute& one : root_) {
    const auto isSame = [&](const HTMLAttribute& other) { return other.name == one.name; };
    if (std::none_of(all.begin(), all.end(), isSame)) all.push_back(one);
  }
  const HTMLKeptAttributes kept = keep(named("body"), all);
  bodyAttributes_ = kept.text;
  blocks_.front().backgroundLost = kept.background == CSSBackground::lost;
  blocks_.front().lostColor = kept.lostColor.value_or("");
  blocks_.front().tableSide = kept.tableSide.value_or("");
}

void HTMLWriter::startBlock(const HTMLRule& rule, const HTMLKeptAttributes& kept) {
  if (containers_ >= kMaxContainers) return placeAside(rule);
  openContainers();
  push(rule, kept);
}

void HTMLWriter::startItem(const HTMLRule& rule, const HTMLKeptAttributes& kept,
                           const std::vector<HTMLAttribute>& all) {
  for (std::size_t i = blocks_.size(); i-- > 0;) {
    const HTMLRule& open = *blocks_[i].rule;
    if (open.role == Role::list && (open.written == "dl") == isDefinition(rule)) {
      popTo(i + 1);
      return push(rule, kept);
    }
    if (open.role == Role::list || isBarrier(open.role)) break;
  }
  if (blocks_.back().rule == &strayItem()) pop();
  startBlock(strayItem(), keep(strayItem(), all));  // without what only items have
}

void HTMLWriter::startTablePart(const HTMLRule& rule, const HTMLKeptAttributes& kept) {
  std::size_t table = blocks_.size();
  while (table-- > 0 && blocks_[table].rule->role != Role::table) {
  }
  if (table == kNone) return;
  if (rule.role == Role::caption && blocks_[table].hasContent) return;
  const auto stays = [&](Role open) {
    if (rule.role == Role::cell) return open == Role::row || open == Role::section;
    return rule.role == Role::row && open == Role::section;
  };
  std::size_t depth = table + 1;
  while (depth < blocks_.size() && stays(blocks_[depth].rule->role)) ++depth;
  popTo(depth);
  if (rule.role == Role::cell && blocks_.back().rule->role != Role::row) push(named("tr"), {});
  push(rule, kept);
}

void HTMLWriter::endTag(std::string_view name) {
  const HTMLRule* rule = findHTMLRule(name);
  if (rule == nullptr) return;
  if (rule->role == Role::lineBreak) return lineBreak();
  if (rule->role == Role::ruby || rule->role == Role::rubyBase) return endReading();
  if (rule->role == Role::inlined || rule->role == Role::anchor) {
    for (std::size_t i = styles_.size(); i-- > blocks_.back().firstStyle;) {
      if (styles_[i].rule == rule) return endStyle(i);
    }
    return;
  }
  if (!isBlock(rule->role)) return;
  auto& inner = blocks_.back().inner;
  const auto found = std::find(inner.rbegin(), inner.rend(), rule);
  if (found != inner.rend()) {
    inner.erase(found.base() - 1, inner.end());
    return endLine();
  }
  const std::size_t open = findOpen(*rule);
  if (open != kNone) popTo(open);
}

// Where the element is open, within the same cell.
std::size_t HTMLWriter::findOpen(const HTMLRule& rule) const {
  for (std::size_t i = blocks_.size(); i-- > 1;) {
    const HTMLRule& open = *blocks_[i].rule;
    if (open.name == rule.name || (isHeading(open) && isHeading(rule))) return i;
    if (open.role == Role::table ||
        (isBarrier(open.role) && !isTablePart(rule.role) && rule.role != Role::table) ||
        (open.role == Role::list && rule.role == Role::item)) {
      break;
    }
  }
  return kNone;
}

void HTMLWriter::push(const HTMLRule& rule, const HTMLKeptAttributes& kept) {
  closeStyles();
  Block& outer = blocks_.back();
  Block block{&rule, isHidden() || kept.hidden, kept.preservesSpace.value_or(outer.preservesSpace),
              outer.firstStyle};
  block.visible = kept.visible.value_or(isVisible());
  block.backgroundLost = kept.background == CSSBackground::outer
                             ? isBackgroundLost()
                             : kept.background == CSSBackground::lost;
  block.lostColor = kept.lostColor.value_or(std::string(lostColor()));
  block.tableSide = kept.tableSide.value_or(outer.tableSide);
  // The mark of an item goes with its text.
  if (rule.role == Role::item && !block.visible) block.silent = true;
  if (rule.role == Role::cell || rule.role == Role::caption) block.firstStyle = styles_.size();
  outer.hasContent = true;
  if (!block.silent) {
    if (!outer.preservesSpace && !out_.empty() && !out_.ends_with('\n')) out_ += '\n';
    out_ += '<';
    out_ += rule.written;
    out_ += kept.text;
    out_ += '>';
    if (rule.written == "pre" || holdsNoText(rule.role)) out_ += '\n';
    if (rule.role == Role::cell && outer.hasCells) plain_.nextCell();
    if (rule.role == Role::row) plain_.startRow();
    if (rule.role != Role::cell) plain_.separate(rule.role == Role::paragraph ? 2 : 1);
    outer.hasCells = true;
    block.atTag = rule.written == "pre";
    boundary();
  }
  if (isContainer(rule.role)) ++containers_;
  blocks_.push_back(std::move(block));
}

void HTMLWriter::pop() {
  const std::size_t depth = blocks_.size();
  endReading();
  writeLostPictures(depth);
  popTo(depth);
  closeStyles();
  leaveStyles();
  const Block block = std::move(blocks_.back());
  blocks_.pop_back();
  if (isContainer(block.rule->role)) --containers_;
  if (block.silent) return;
  boundary();
  out_ += "</";
  out_ += block.rule->written;
  out_ += '>';
  const Block& outer = blocks_.back();
  if (!outer.preservesSpace || holdsNoText(outer.rule->role)) out_ += '\n';
  if (block.rule->role == Role::row) plain_.endRow();
  if (block.rule->role != Role::cell) {
    plain_.separate(block.rule->role == Role::paragraph ? 2 : 1);
  }
}

void HTMLWriter::popTo(std::size_t depth) {
  while (blocks_.size() > depth) pop();
}

void HTMLWriter::leaveParagraph() {
  if (blocks_.back().rule->role == Role::paragraph) pop();
}

// Opens what text needs around it in lists and tables.
void HTMLWriter::openContainers() {
  while (holdsNoText(blocks_.back().rule->role)) {
    const HTMLRule& open = *blocks_.back().rule;
    if (open.role == Role::list) {
      push(named(open.written == "dl" ? "dd" : "li"), {});
    } else {
      push(named(open.role == Role::row ? "td" : "tr"), {});
    }
  }
}

// Takes an element as another line of the open block.
void HTMLWriter::placeAside(const HTMLRule& rule) {
  auto& inner = blocks_.back().inner;
  if (inner.size() < kMaxInner) inner.push_back(&rule);
  endLine();
}

void HTMLWriter::endLine() {
  Block& block = blocks_.back();
  if (block.hasContent) block.lineEnded = true;
}

void HTMLWriter::boundary() {
  space_ = '\0';
  atBoundary_ = true;
}

void HTMLWriter::separator() {
  if (isHidden()) return;
  endReading();
  leaveParagraph();
  if (blocks_.back().rule->role == Role::line) return endLine();
  openContainers();
  closeStyles();
  blocks_.back().hasContent = true;
  out_ += "<hr>";
  if (!blocks_.back().preservesSpace) out_ += '\n';
  plain_.separate(1);
  boundary();
}

void HTMLWriter::finish() {
  endForeign();
  if (!hasBody_) startBody({});
  popTo(1);
  endReading();
  writeLostPictures(0);
  popTo(1);
  closeStyles();
}

std::string HTMLWriter::takeHTML() {
  return "<!DOCTYPE html>\n<html>\n<head><meta charset=\"utf-8\"></head>\n<body" + bodyAttributes_ +
         ">\n" + out_ + (out_.ends_with('\n') ? "" : "\n") + "</body>\n</html>\n";
}

}  // namespace korvane
