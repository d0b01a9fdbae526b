#include "host/LoneSurrogates.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace korvane {
namespace {

TEST(LoneSurrogates, BecomeReplacementCharacters) {
  const std::pair<std::string, std::string> cases[] = {
      {R"("\ud83dx")", R"("\ufffdx")"},
      {R"("\ude00")", R"("\ufffd")"},
      {R"("\uD83D\uD83D\uDE00")", R"("\ufffd\uD83D\uDE00")"},
      {R"("\ude00\ud83d")", R"("\ufffd\ufffd")"},
      {R"("\ud83d\\ude00")", R"("\ufffd\\ude00")"},
      {R"(\ud83d)", R"(\ufffd)"},
  };
  for (const auto& [json, repaired] : cases) EXPECT_EQ(withoutLoneSurrogates(json), repaired);
}

TEST(LoneSurrogates, OthersStayAsTheyAre) {
  for (const char* json : {"", "{}", R"("\ud83d\ude00")", R"("\\ud83d")", R"("\u00e9\n")",
                           R"("\ud8zz")", R"("\ud83)", "\\"}) {
    EXPECT_EQ(withoutLoneSurrogates(json), std::nullopt) << json;
  }
}

}  // namespace
}  // namespace korvane
