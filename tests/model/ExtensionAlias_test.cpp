#include "model/ExtensionAlias.h"

#include <gtest/gtest.h>

#include "support/TestPlatform.h"

namespace korvane {
namespace {

using testing::TestPlatform;

TEST(ExtensionAlias, EmptyDictionaryGivesTheDefaults) {
  TestPlatform platform;
  platform.bundle->translations["No Mail"] = "Keine Mailadresse";
  const ExtensionAlias alias{Value(Dictionary())};
  EXPECT_EQ(alias.mail(), Value("Keine Mailadresse"));
  EXPECT_EQ(alias.name(), Value(""));
  EXPECT_EQ(alias.account(), Value(""));
  EXPECT_TRUE(platform.log->lines().empty());
}

TEST(ExtensionAlias, ValuesAreStoredAsTheyStand) {
  TestPlatform platform;
  const ExtensionAlias alias(
      Value(Dictionary{{"mail", ""}, {"name", 2}, {"account", NSData{1, 2}}, {"other", "x"}}));
  EXPECT_EQ(alias.mail(), Value(""));
  EXPECT_EQ(alias.name(), Value(2));
  EXPECT_EQ(alias.account(), Value(NSData{1, 2}));
  EXPECT_EQ(alias.description(), "ExtensionAlias ");
}

TEST(ExtensionAlias, WhatIsNoDictionaryLeavesEverythingUnset) {
  TestPlatform platform;
  const ExtensionAlias alias(Value("x"));
  EXPECT_TRUE(alias.mail().isAbsent() && alias.name().isAbsent() && alias.account().isAbsent());
  ASSERT_EQ(platform.log->lines().size(), 1U);
  EXPECT_EQ(platform.log->lines()[0].find("ExtensionAlias initWithDictonary "), 0U);
}

}  // namespace
}  // namespace korvane
