#include "formats/html/PlainText.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace korvane {
namespace {

TEST(PlainText, NothingIsNothing) {
  PlainText plain;
  EXPECT_EQ(plain.take(), "");
  PlainText blocks;
  blocks.separate(2);
  blocks.startRow();
  blocks.nextCell();
  blocks.endRow();
  EXPECT_EQ(blocks.take(), "");
  PlainText line;
  line.lineBreak();
  EXPECT_EQ(line.take(), "");
}

TEST(PlainText, BlocksStandOnLinesOfTheirOwn) {
  PlainText plain;
  plain.separate(2);
  plain.text("a");
  plain.separate(1);
  plain.separate(2);
  plain.separate(1);
  plain.text("b");
  plain.separate(1);
  plain.text("c");
  plain.text("d");
  plain.separate(2);
  EXPECT_EQ(plain.take(), "a\n\nb\ncd");
}

TEST(PlainText, ALineBreakEndsItsLineOnce) {
  PlainText plain;
  plain.text("a");
  plain.lineBreak();
  plain.separate(1);
  plain.text("b");
  plain.lineBreak();
  plain.lineBreak();
  plain.separate(1);
  plain.text("c");
  plain.lineBreak();
  plain.separate(2);
  plain.text("d");
  plain.lineBreak();
  plain.text("e");
  plain.lineBreak();
  plain.lineBreak();
  EXPECT_EQ(plain.take(), "a\nb\n\nc\n\nd\ne\n");
}

TEST(PlainText, CellsArePartedByTabs) {
  PlainText plain;
  const auto row = [&](const std::vector<std::string_view>& cells) {
    plain.startRow();
    for (std::size_t i = 0; i < cells.size(); ++i) {
      if (i > 0) plain.nextCell();
      if (!cells[i].empty()) plain.text(cells[i]);
      plain.separate(2);
    }
    plain.endRow();
  };
  row({"a", "b"});
  row({"", "c", "", "d"});
  row({"e", "", ""});
  row({});
  row({"f\n", "g"});
  EXPECT_EQ(plain.take(), "a\tb\n\n\tc\t\td\n\ne\nf\tg");
}

}  // namespace
}  // namespace korvane
