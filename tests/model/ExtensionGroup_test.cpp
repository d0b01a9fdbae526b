#include "model/ExtensionGroup.h"

#include <gtest/gtest.h>

#include "support/TestPlatform.h"

namespace korvane {
namespace {

using testing::TestPlatform;

TEST(ExtensionGroup, EmptyDictionaryGivesTheDefaults) {
  TestPlatform platform;
  const ExtensionGroup group{Value(Dictionary())};
  EXPECT_EQ(group.idx(), Value(""));
  EXPECT_EQ(group.name(), Value("No Name"));
  ASSERT_TRUE(group.addresses());
  EXPECT_TRUE(group.addresses()->empty());
  EXPECT_EQ(group.prettyprint(), "No Name");
  EXPECT_TRUE(platform.log->lines().empty());
}

TEST(ExtensionGroup, MissingNameIsTranslatedAndIdxIsNot) {
  TestPlatform platform;
  platform.bundle->translations["No Name"] = "Kein Name";
  platform.bundle->translations[""] = "a catalogue's header";
  const ExtensionGroup group{Value(Dictionary())};
  EXPECT_EQ(group.name(), Value("Kein Name"));
  EXPECT_EQ(group.idx(), Value(""));
}

TEST(ExtensionGroup, MembersKeepTheirOrderAndStrangeOnesStay) {
  TestPlatform platform;
  const ExtensionGroup group(
      Value(Dictionary{{"idx", "7"},
                       {"name", " Tea  "},
                       {"addresses", List{Dictionary{{"mail", "z@z"}, {"rank", 9}}, "no dictionary",
                                          Dictionary{{"mail", "a@a"}}}}}));
  ASSERT_EQ(group.addresses()->size(), 3U);
  EXPECT_EQ((*group.addresses())[0]->mail(), Value("z@z"));
  EXPECT_TRUE((*group.addresses())[1]->mail().isAbsent());
  EXPECT_EQ((*group.addresses())[2]->mail(), Value("a@a"));
  EXPECT_EQ(group.prettyprint(), " Tea   (3)") << "a group's text is not trimmed";
  EXPECT_EQ(group.description(), "ExtensionGroup  Tea  ");
  ASSERT_EQ(platform.log->lines().size(), 1U);
  EXPECT_EQ(platform.log->lines()[0].find("ExtensionAddress initWithDictonary "), 0U);
}

TEST(ExtensionGroup, MembersThatAreNoListLeaveAnEmptyOne) {
  for (const Value& bad : {Value("x"), Value(Dictionary{{"0", "x"}}), Value(1)}) {
    TestPlatform platform;
    const ExtensionGroup group(Value(Dictionary{{"name", "n"}, {"addresses", bad}}));
    EXPECT_EQ(group.name(), Value("n"));
    ASSERT_TRUE(group.addresses());
    EXPECT_TRUE(group.addresses()->empty());
    ASSERT_EQ(platform.log->lines().size(), 1U);
    EXPECT_EQ(platform.log->lines()[0].find("ExtensionGroup initWithDictonary "), 0U);
  }
}

TEST(ExtensionGroup, WhatIsNoDictionaryLeavesEverythingUnset) {
  TestPlatform platform;
  const ExtensionGroup group(Value(3));
  EXPECT_TRUE(group.idx().isAbsent() && group.name().isAbsent());
  EXPECT_FALSE(group.addresses());
  EXPECT_EQ(platform.log->lines().size(), 1U);
  EXPECT_EQ(group.prettyprint(), "(null)");
}

TEST(ExtensionGroup, NameOfAnotherKindIsShownAsItIs) {
  TestPlatform platform;
  const ExtensionGroup group(Value(Dictionary{{"name", 12}}));
  EXPECT_EQ(group.name(), Value(12));
  EXPECT_EQ(group.prettyprint(), "12");
}

}  // namespace
}  // namespace korvane
