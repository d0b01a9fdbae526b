#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/html/HTMLRules.h"
#include "formats/html/HTMLTokens.h"

namespace korvane {

/// What a reader of a document sees as plain text: blocks on lines of their own, paragraphs with an
/// empty line between, cells of a row with a tab between.
class PlainText {
 public:
  void text(std::string_view text);
  void lineBreak() { text("\n"); }
  /// As many line breaks before what follows, unless it is the first.
  void separate(int lineBreaks);
  void nextCell() { cell_ = true; }
  void nextRow();
  std::string take() { return std::move(text_); }

 private:
  std::string text_;
  int lineBreaks_ = 0;
  bool cell_ = false;
};

/// Writes the tags and texts of a document anew, as a document in which every element is closed,
/// stands where it may and is one that HTMLRules know: blocks hold text styles, never the other way
/// round. What it wrote, read and written again, is the same. In time proportional to what it is
/// given. One thread at a time.
class HTMLWriter {
 public:
  /// `size` of the document in bytes, which bounds what is written.
  explicit HTMLWriter(std::size_t size);

  void write(const HTMLToken& token);
  /// Ends the document; nothing may be written after it.
  void finish();
  std::string takeHTML();
  std::string takeText() { return plain_.take(); }

 private:
  // A block that is open.
  struct Block {
    const HTMLRule* rule;
    bool silent;             // hidden, itself or by what holds it: nothing of it is written
    bool preservesSpace;     //
    std::size_t firstStyle;  // the text styles from here on were begun in the same cell
    bool hasContent = false;
    bool hasCells = false;
    bool atTag = false;                       // nothing came after the start tag yet
    bool lineEnded = false;                   // in a line: another line follows
    std::vector<const HTMLRule*> inner = {};  // elements in it that are not written, innermost last
  };
  // A style of text that is on. It is written when text comes.
  struct TextStyle {
    const HTMLRule* rule;
    std::string attributes;
    std::size_t depth;  // of the blocks it was begun in
    bool silent;        // nothing to write
    bool hidden;
    std::optional<bool> preservesSpace;  // where it says so itself
  };

  void startTag(const HTMLToken& token);
  void endTag(std::string_view name);
  void text(std::string_view text);

  void startBlock(const HTMLRule& rule, const HTMLKeptAttributes& kept);
  void startItem(const HTMLRule& rule, const HTMLKeptAttributes& kept);
  void startTablePart(const HTMLRule& rule, const HTMLKeptAttributes& kept);
  void startStyle(const HTMLRule& rule, HTMLKeptAttributes kept);
  void endStyle(std::size_t index);
  void endLinks();
  void lineBreak();
  void separator();
  void picture(const HTMLToken& token);

  bool skips(const HTMLToken& token);
  void push(const HTMLRule& rule, const HTMLKeptAttributes& kept);
  void pop();
  void popTo(std::size_t depth);
  void leaveParagraph();
  void openContainers();
  void placeAside(const HTMLRule& rule);
  void endLine();
  void beginText();
  void closeStyles(std::size_t keep = 0);
  void boundary();
  bool isHidden() const { return blocks_.back().silent || hiddenStyles_ > 0; }
  bool preservesSpace(std::size_t styles) const;
  bool preservesSpace() const { return preservesSpace(styles_.size()); }
  std::size_t findOpen(const HTMLRule& rule) const;

  std::size_t mostBytes_;
  std::string out_;
  PlainText plain_;
  std::string bodyAttributes_;
  std::vector<Block> blocks_;
  std::size_t containers_ = 0;  // open blocks that are no items, rows, cells, …
  std::vector<TextStyle> styles_;
  std::size_t writtenStyles_ = 0;  // of them, how many tags are open in the output
  std::size_t hiddenStyles_ = 0;
  char space_ = '\0';       // white space that is written once text follows
  bool atBoundary_ = true;  // white space means nothing here
  std::string skipped_;     // the element that is passed over, if any
  std::size_t skippedDepth_ = 0;
};

}  // namespace korvane
