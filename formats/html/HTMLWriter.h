#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/html/HTMLRules.h"
#include "formats/html/HTMLTokens.h"
#include "formats/html/PlainText.h"

namespace korvane {

/// Writes the tags and texts of a document anew, as a document in which every element is closed,
/// stands where it may and is one that HTMLRules know: blocks hold text styles, never the other way
/// round. What it wrote, read and written again, is the same. In time proportional to what it is
/// given. One thread at a time.
class HTMLWriter {
 public:
  /// `size` of the document in bytes, which bounds what is written; `base` is the address that its
  /// links are relative to, empty where it has none.
  explicit HTMLWriter(std::size_t size, std::string_view base = {});
  /// The same with the rules of the document's style sheets, which are not read again.
  HTMLWriter(std::size_t size, std::string_view base, StyleSheet sheet);

  void write(const HTMLToken& token);
  /// Ends the document; nothing may be written after it.
  void finish();
  std::string takeHTML();
  std::string takeText() { return plain_.take(); }
  /// Whether rules of style came behind elements, which they may be for.
  bool hasLateSheet() const { return hasLateSheet_; }
  StyleSheet takeSheet() { return std::move(sheet_); }

 private:
  // A block that is open.
  struct Block {
    const HTMLRule* rule;
    bool silent;             // hidden, itself or by what holds it: nothing of it is written
    bool preservesSpace;     //
    std::size_t firstStyle;  // the text styles from here on were begun in the same cell
    bool visible = true;
    bool backgroundLost = false;
    std::string lostColor = {};       // of its text, which went with the background
    std::string_view tableSide = {};  // where tables in it stand
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
    std::optional<bool> preservesSpace;  // these where it says so itself
    std::optional<bool> visible;
    CSSBackground background;
    std::optional<std::string> lostColor;
    std::string link;          // where it leads, of an anchor that is not silent
    bool written = false;      // something of it was
    bool wentOn = false;       // behind the end of the block that it was begun in
    bool lostPicture = false;  // a picture of it could not stay
  };
  // An element of a formula.
  struct MathElement {
    std::string_view between;  // what stands before its second part
    std::string_view closing;  // what stands behind it
    bool isScript = false;     // its parts but the first are set lower or higher
    bool isFraction = false;
    bool lowerFirst = false;
    int parts = 0;
    const HTMLRule* style = nullptr;  // that it is set in
  };
  enum class Reading { none, begun, written };  // of characters

  void startTag(const HTMLToken& token);
  void endTag(std::string_view name);
  void text(std::string_view text);

  void startBlock(const HTMLRule& rule, const HTMLKeptAttributes& kept);
  void startItem(const HTMLRule& rule, const HTMLKeptAttributes& kept,
                 const std::vector<HTMLAttribute>& all);
  void startTablePart(const HTMLRule& rule, const HTMLKeptAttributes& kept);
  void startStyle(const HTMLRule& rule, HTMLKeptAttributes kept);
  void endStyle(std::size_t index);
  void leaveStyles();
  void boundStyle(const HTMLRule& rule, const std::string& attributes);
  void endLinks();
  void lineBreak();
  void separator();
  void picture(const HTMLToken& token);
  void startBody(const std::vector<HTMLAttribute>& attributes);
  void startBase(const HTMLToken& token);
  void startSheet(const HTMLToken& token);
  void startFrame(const HTMLToken& token);
  void startMedia(const HTMLToken& token);
  void startForeign(const HTMLToken& token);
  void addLink(std::string_view source, std::string_view name);
  void checkBox(const HTMLToken& token);
  void losePicture();
  void writeLostPictures(std::size_t depth);
  void endReading();

  void skip(const HTMLToken& token);
  bool isForeign(const HTMLToken& token);
  void startFormulaPart(const HTMLToken& token);
  void endFormulaPart();
  void endForeign();
  bool isMedia(const HTMLToken& token);
  HTMLSurroundings surroundings();
  HTMLKeptAttributes keep(const HTMLRule& rule, const std::vector<HTMLAttribute>& all) {
    hasElements_ = true;
    return keepAttributes(rule, all, surroundings());
  }
  bool isVisible() const;
  bool isBackgroundLost() const;
  std::string_view lostColor() const;
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
  std::size_t containers_ = 0;  // open blocks that are not items, rows, cells, …
  std::vector<TextStyle> styles_;
  std::size_t writtenStyles_ = 0;  // of them, how many tags are open in the output
  std::size_t hiddenStyles_ = 0;
  char space_ = '\0';       // white space that is written once text follows
  bool atBoundary_ = true;  // white space means nothing here
  std::string skipped_;     // the element that is passed over, if any
  std::size_t skippedDepth_ = 0;
  std::string* skippedText_ = nullptr;  // where its text goes
  StyleSheet sheet_;
  bool isSheetComplete_ = false;
  bool hasLateSheet_ = false;
  bool hasElements_ = false;  // that rules may be for
  std::string sheetText_;
  std::size_t budget_;  // of declarations from the sheet
  std::string base_;
  bool hasBase_ = false;
  bool hasBody_ = false;
  std::vector<HTMLAttribute> root_;  // what the document says of itself
  std::size_t pictureBytes_ = 0;
  Reading reading_ = Reading::none;
  std::string foreign_;  // the drawing or formula that is open, if any
  std::size_t foreignDepth_ = 0;
  std::size_t foreignTexts_ = 0;  // open texts of a drawing
  bool foreignWritten_ = false;
  std::string foreignTitle_;
  std::vector<MathElement> math_;
  std::size_t deepMath_ = 0;  // elements that are open beyond those
  std::string media_;         // the film or sound that is open, if any
  std::string mediaSource_;
  bool mediaLink_ = false;  // a link in it is open
  bool mediaWritten_ = false;
};

}  // namespace korvane
