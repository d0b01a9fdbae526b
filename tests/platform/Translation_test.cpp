#include "platform/detail/Translation.h"

#include <gtest/gtest.h>

#include <string>

namespace korvane {
namespace {

class Translation : public ::testing::Test {
 protected:
  ~Translation() override { setTranslator(nullptr); }
};

const char* toSomethingElse(const char* one, const char* many, unsigned long count) {
  const std::string text = one;
  if (text == "known") return "bekannt";
  if (text == "{0} of {1}") return "von {1}: {0}";
  if (text == "{0} file in {1}") return count < 3 ? "{1}: wenige ({0})" : "{1}: viele ({0})";
  return many && count != 1 ? many : one;
}

TEST_F(Translation, WithoutATranslatorTextsStayAsTheyAre) {
  EXPECT_EQ(translated("known"), "known");
  EXPECT_EQ(translated(translatable("known")), "known");
  EXPECT_EQ(translated(""), "");
  EXPECT_EQ(translated("{0} of {1}", "a", std::string("b")), "a of b");
}

TEST_F(Translation, ATranslationMayChangeTheOrderOfTheValues) {
  setTranslator(toSomethingElse);
  EXPECT_EQ(translated("known"), "bekannt");
  EXPECT_EQ(translated("unknown"), "unknown");
  EXPECT_EQ(translated("{0} of {1}", "a", "b"), "von b: a");
  // A catalogue keeps its header under the empty text.
  EXPECT_EQ(translated(""), "");
}

TEST_F(Translation, PlacesAreFilledOnce) {
  struct Case {
    const char* text;
    const char* expected;
  };
  for (const Case& one : {Case{"{0}", "{1}"}, Case{"{1}{0}", "b{1}"}, Case{"{0}{0}", "{1}{1}"},
                          Case{"{2}", "{2}"}, Case{"{", "{"}, Case{"{0", "{0"}, Case{"}{}", "}{}"},
                          Case{"{{0}}", "{{1}}"}, Case{"{x}", "{x}"}, Case{"{00}", "{00}"},
                          Case{"", ""}, Case{"no place", "no place"}, Case{"{/}{:}", "{/}{:}"}}) {
    EXPECT_EQ(filled(one.text, {"{1}", "b"}), one.expected) << one.text;
  }
}

TEST_F(Translation, WithoutValuesBracesAreNothingSpecial) {
  EXPECT_EQ(translated("{\"items\": [{0}]}"), "{\"items\": [{0}]}");
}

TEST_F(Translation, NumbersHaveTheFormOfTheirLanguage) {
  const auto files = [](unsigned long count) {
    return translatedCount("{0} file in {1}", "{0} files in {1}", count, "folder");
  };
  EXPECT_EQ(files(0), "0 files in folder");
  EXPECT_EQ(files(1), "1 file in folder");
  EXPECT_EQ(files(2), "2 files in folder");
  setTranslator(toSomethingElse);
  EXPECT_EQ(files(2), "folder: wenige (2)");
  EXPECT_EQ(files(3), "folder: viele (3)");
}

}  // namespace
}  // namespace korvane
