#include "formats/html/PlainText.h"

#include <algorithm>
#include <utility>

namespace korvane {

void PlainText::text(std::string_view text) {
  if (!text_.empty()) text_.append(static_cast<std::size_t>(lineBreaks_), '\n');
  text_.append(tabs_, '\t');
  lineBreaks_ = 0;
  tabs_ = 0;
  isRowEmpty_ = false;
  text_ += text;
}

void PlainText::separate(int lineBreaks) {
  // A line break at the end of a block ends the line that would end there anyway.
  if (text_.ends_with('\n')) --lineBreaks;
  if (tabs_ == 0) lineBreaks_ = std::max(lineBreaks_, lineBreaks);
}

void PlainText::startRow() {
  tabs_ = 0;
  isRowEmpty_ = true;
  separate(1);
}

void PlainText::endRow() {
  tabs_ = 0;
  separate(1);
}

void PlainText::nextCell() {
  ++tabs_;
  if (isRowEmpty_) return;
  lineBreaks_ = 0;
  if (text_.ends_with('\n')) text_.pop_back();
}

std::string PlainText::take() {
  if (text_.ends_with('\n')) text_.pop_back();
  return std::move(text_);
}

}  // namespace korvane
