#include "host/Output.h"

#include <gmock/gmock.h>

#include <vector>

namespace korvane {
namespace {

TEST(Output, HandsOnPiecesThatDoNotGrow) {
  std::size_t pieces = 0, largest = 0, all = 0;
  Output output([&](std::string_view piece) {
    ++pieces;
    largest = std::max(largest, piece.size());
    all += piece.size();
  });
  for (int i = 0; i < 100'000; ++i) output << "0123456789";
  output.flush();
  output.flush();
  EXPECT_EQ(all, 1'000'000U);
  EXPECT_LE(largest, 70'000U);
  EXPECT_EQ(pieces, 16U);
}

TEST(Output, WhatIsNotWrittenThrows) {
  Output output([](std::string_view) { throw std::runtime_error("full"); });
  output << "a";
  EXPECT_THROW(output.flush(), std::runtime_error);
}

}  // namespace
}  // namespace korvane
