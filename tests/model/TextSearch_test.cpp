#include "model/detail/TextSearch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

namespace korvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::size_t> slowly(std::string_view text, std::string_view searched, bool overlaps) {
  std::vector<std::size_t> places;
  for (std::size_t at = 0; at + searched.size() <= text.size();) {
    const bool here = text.substr(at, searched.size()) == searched;
    if (here) places.push_back(at);
    at += here && !overlaps ? searched.size() : 1;
  }
  return places;
}

std::string randomText(std::mt19937& random, std::size_t length) {
  std::string text;
  while (text.size() < length) text += static_cast<char>('a' + random() % 3);
  return text;
}

TEST(Occurrences, FromLeftToRightWithoutOverlaps) {
  EXPECT_THAT(occurrences("", "a"), IsEmpty());
  EXPECT_THAT(occurrences("b", "a"), IsEmpty());
  EXPECT_THAT(occurrences("aaaaa", "aa"), ElementsAre(0, 2));
  EXPECT_THAT(occurrences("abababc", "ababc"), ElementsAre(2));
}

TEST(Occurrences, AgreeWithTheSimpleSearch) {
  std::mt19937 random(1);
  for (int round = 0; round < 3000; ++round) {
    const std::string text = randomText(random, random() % 40);
    const std::string searched = randomText(random, 1 + random() % 5);
    EXPECT_EQ(occurrences(text, searched), slowly(text, searched, false))
        << text << " " << searched;
  }
}

TEST(OccurrencesOfEach, EveryTextAndEveryPlace) {
  const auto places = occurrencesOfEach("ushers she", {"he", "she", "his", "hers", "s"});
  ASSERT_TRUE(places);
  EXPECT_THAT(*places, ElementsAre(ElementsAre(2, 8), ElementsAre(1, 7), IsEmpty(), ElementsAre(2),
                                   ElementsAre(1, 5, 7)));
  EXPECT_THAT(*occurrencesOfEach("", {"a"}), ElementsAre(IsEmpty()));
  EXPECT_THAT(*occurrencesOfEach("a", {}), IsEmpty());
  EXPECT_THAT(*occurrencesOfEach(std::string_view("a\0\xFF", 3), {std::string_view("\0\xFF", 2)}),
              ElementsAre(ElementsAre(1)));
}

TEST(OccurrencesOfEach, AgreeWithTheSimpleSearch) {
  std::mt19937 random(2);
  for (int round = 0; round < 3000; ++round) {
    const std::string text = randomText(random, random() % 40);
    std::set<std::string> different;
    for (unsigned i = random() % 8; i > 0; --i) {
      different.insert(randomText(random, 1 + random() % 6));
    }
    const std::vector<std::string_view> searched(different.begin(), different.end());
    const auto places = occurrencesOfEach(text, searched);
    ASSERT_TRUE(places);
    for (std::size_t i = 0; i < searched.size(); ++i) {
      const auto want = slowly(text, searched[i], true);
      EXPECT_TRUE(std::equal((*places)[i].begin(), (*places)[i].end(), want.begin(), want.end()))
          << text << " " << searched[i];
    }
  }
}

TEST(OccurrencesOfEach, TooManyPlacesAreRefused) {
  const std::string text(30'000, 'a');
  std::vector<std::string_view> searched;
  for (std::size_t length = 1; length <= 16; ++length) {
    searched.push_back(std::string_view(text).substr(0, length));
  }
  EXPECT_TRUE(occurrencesOfEach(text, searched));
  searched.push_back(std::string_view(text).substr(0, 17));
  EXPECT_FALSE(occurrencesOfEach(text, searched));
}

}  // namespace
}  // namespace korvane
