#include "model/ExtensionAccount.h"

#include <gtest/gtest.h>

#include "support/TestPlatform.h"

namespace korvane {
namespace {

using testing::TestPlatform;

TEST(ExtensionAccount, EmptyDictionaryGivesTheDefaults) {
  TestPlatform platform;
  for (const Value& nothing : {Value(Dictionary()), Value()}) {
    const ExtensionAccount account(nothing);
    EXPECT_EQ(account.mail(), Value("No Mail"));
    EXPECT_EQ(account.name(), Value(""));
    EXPECT_EQ(account.type(), 0);
    EXPECT_FALSE(account.enabled());
    ASSERT_TRUE(account.aliases());
    EXPECT_TRUE(account.aliases()->empty());
  }
  EXPECT_TRUE(platform.log->lines().empty());
}

TEST(ExtensionAccount, DefaultsAreTranslated) {
  TestPlatform platform;
  platform.bundle->translations["No Mail"] = "Keine Mailadresse";
  const ExtensionAccount account(Value(Dictionary{{"aliases", List{Dictionary()}}}));
  EXPECT_EQ(account.mail(), Value("Keine Mailadresse"));
  EXPECT_EQ(account.aliases()->front()->mail(), Value("Keine Mailadresse"));
}

TEST(ExtensionAccount, TypeAndEnabledConvert) {
  TestPlatform platform;
  struct Case {
    Value type, enabled;
    std::int64_t expectedType;
    bool expectedEnabled;
  };
  const Case cases[] = {
      {"3", "1", 3, true},  {3, true, 3, true},         {3.9, 0.5, 3, true},
      {true, 2, 1, true},   {" 4 ", "yes", 4, true},    {"x", "no", 0, false},
      {-7, "0", -7, false}, {"-8", "  +003", -8, true}, {Value(), Value(), 0, false},
  };
  for (const Case& c : cases) {
    Dictionary dictionary;
    if (!c.type.isAbsent()) dictionary.set("type", c.type);
    if (!c.enabled.isAbsent()) dictionary.set("enabled", c.enabled);
    const ExtensionAccount account(dictionary);
    EXPECT_EQ(account.type(), c.expectedType);
    EXPECT_EQ(account.enabled(), c.expectedEnabled) << c.enabled.description();
  }
  EXPECT_TRUE(platform.log->lines().empty());
}

TEST(ExtensionAccount, FailingTypeOrEnabledLeavesTheRestUnset) {
  for (const Value& bad : {Value(List{}), Value(Dictionary()), Value(NSDate{0})}) {
    for (const char* key : {"type", "enabled"}) {
      TestPlatform platform;
      const ExtensionAccount account(
          Value(Dictionary{{"mail", "m"}, {key, bad}, {"aliases", List{Dictionary()}}}));
      EXPECT_EQ(account.mail(), Value("m"));
      EXPECT_EQ(account.name(), Value(""));
      EXPECT_FALSE(account.aliases());
      ASSERT_EQ(platform.log->lines().size(), 1U);
      EXPECT_EQ(platform.log->lines()[0].find("ExtensionAccount initWithDictonary "), 0U);
    }
  }
}

TEST(ExtensionAccount, AliasesThatAreNoListLeaveAnEmptyOne) {
  for (const Value& bad : {Value("one"), Value(Dictionary{{"mail", "x"}}), Value(5)}) {
    TestPlatform platform;
    const ExtensionAccount account(Value(Dictionary{{"type", 4}, {"aliases", bad}}));
    EXPECT_EQ(account.type(), 4);
    ASSERT_TRUE(account.aliases());
    EXPECT_TRUE(account.aliases()->empty());
    EXPECT_EQ(platform.log->lines().size(), 1U);
  }
}

TEST(ExtensionAccount, AliasThatIsNoDictionaryIsKeptUnset) {
  TestPlatform platform;
  const ExtensionAccount account(
      Value(Dictionary{{"aliases", List{Dictionary{{"mail", "b@b"}}, 5}}}));
  ASSERT_EQ(account.aliases()->size(), 2U);
  EXPECT_EQ((*account.aliases())[0]->mail(), Value("b@b"));
  EXPECT_TRUE((*account.aliases())[1]->mail().isAbsent());
  ASSERT_EQ(platform.log->lines().size(), 1U);
  EXPECT_EQ(platform.log->lines()[0].find("ExtensionAlias initWithDictonary "), 0U);
}

TEST(ExtensionAccount, OnlyAbsenceIsReplacedAndOtherKindsStay) {
  TestPlatform platform;
  const ExtensionAccount account(Value(Dictionary{{"mail", ""}, {"name", List{1}}}));
  EXPECT_EQ(account.mail(), Value(""));
  EXPECT_EQ(account.name(), Value(List{1}));
  EXPECT_EQ(account.description(), "ExtensionAccount ");
}

TEST(ExtensionAccount, WhatIsNoDictionaryLeavesEverythingUnset) {
  TestPlatform platform;
  const ExtensionAccount account(Value(List{}));
  EXPECT_TRUE(account.mail().isAbsent() && account.name().isAbsent());
  EXPECT_FALSE(account.aliases());
  EXPECT_EQ(platform.log->lines().size(), 1U);
  EXPECT_EQ(account.description(), "ExtensionAccount (null)");
}

}  // namespace
}  // namespace korvane
