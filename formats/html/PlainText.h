#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace korvane {

/// What a reader of a document sees as plain text: blocks on lines of their own, paragraphs with an
/// empty line between, cells of a row with tabs between. One thread at a time.
class PlainText {
 public:
  void text(std::string_view text);
  void lineBreak() { text("\n"); }
  /// A block begins or ends: as many line breaks before what follows, unless that is the first.
  void separate(int lineBreaks);
  void startRow();
  void endRow();
  /// The next cell of a row begins.
  void nextCell();
  /// The text, once; without the line break that ends it.
  std::string take();

 private:
  std::string text_;
  int lineBreaks_ = 0;      // to write before what follows
  std::size_t tabs_ = 0;    // behind them
  bool isRowEmpty_ = true;  // so far
};

}  // namespace korvane
