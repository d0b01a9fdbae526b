#include "model/ExtensionAddress.h"

#include <gtest/gtest.h>

#include "support/TestPlatform.h"

namespace korvane {
namespace {

using testing::TestPlatform;

TEST(ExtensionAddress, EmptyDictionaryGivesTheDefaults) {
  TestPlatform platform;
  platform.bundle->translations["No Mail"] = "translated";  // a contact's is not looked up
  for (const Value& nothing : {Value(Dictionary()), Value()}) {
    const ExtensionAddress contact(nothing);
    EXPECT_EQ(contact.mail(), Value("No Mail"));
    for (const Value& field :
         {contact.firstName(), contact.lastName(), contact.company(), contact.nickname()}) {
      EXPECT_EQ(field, Value(""));
    }
    EXPECT_EQ(contact.rank(), 0);
    EXPECT_EQ(contact.fullName(), "");
    EXPECT_EQ(contact.prettyprint(), "<No Mail>");
  }
  EXPECT_TRUE(platform.log->lines().empty());
}

TEST(ExtensionAddress, OnlyAbsenceIsReplaced) {
  TestPlatform platform;
  const ExtensionAddress contact(
      Dictionary{{"mail", ""}, {"firstName", 5}, {"company", List{}}, {"Mail", "other key"}});
  EXPECT_EQ(contact.mail(), Value(""));
  EXPECT_EQ(contact.firstName(), Value(5));
  EXPECT_EQ(contact.company(), Value(List{}));
  EXPECT_TRUE(platform.log->lines().empty());
}

TEST(ExtensionAddress, RankConverts) {
  TestPlatform platform;
  struct Case {
    Value rank;
    std::int64_t expected;
  };
  for (const Case& c : {Case{"3", 3}, Case{" -12x", -12}, Case{true, 1}, Case{2.9, 2},
                        Case{-2.9, -2}, Case{"", 0}, Case{"99999999999999999999", INT64_MAX}}) {
    EXPECT_EQ(ExtensionAddress(Dictionary{{"rank", c.rank}}).rank(), c.expected);
  }
  for (const Value& bad :
       {Value(List{}), Value(Dictionary()), Value(NSDate{1}), Value(NSData{1})}) {
    platform.log->clear();
    const ExtensionAddress contact(Dictionary{{"nickname", "n"}, {"rank", bad}});
    EXPECT_EQ(contact.nickname(), Value("n"));
    EXPECT_EQ(contact.rank(), 0);
    ASSERT_EQ(platform.log->lines().size(), 1U);
    EXPECT_EQ(platform.log->lines()[0].find("ExtensionAddress initWithDictonary "), 0U);
  }
}

TEST(ExtensionAddress, AnUnsetContactCanBeReadLater) {
  TestPlatform platform;
  const Value dictionary = Dictionary{{"mail", "a@b"}, {"lastName", "B"}, {"rank", 7}};
  ExtensionAddress contact;
  contact.initWithDictonary(dictionary);
  EXPECT_EQ(contact.prettyprint(), "B <a@b>");
  EXPECT_EQ(contact.rank(), 7);

  ExtensionAddress broken;
  broken.initWithDictonary(Dictionary{{"mail", "a@b"}, {"rank", List{}}});
  EXPECT_EQ(broken.mail(), Value("a@b"));
  EXPECT_EQ(broken.rank(), 0);
  EXPECT_EQ(platform.log->lines().size(), 1U);
}

TEST(ExtensionAddress, WhatIsNoDictionaryLeavesEverythingUnset) {
  TestPlatform platform;
  const ExtensionAddress contact(Value("text"));
  for (const Value& field : {contact.mail(), contact.firstName(), contact.lastName(),
                             contact.company(), contact.nickname()}) {
    EXPECT_TRUE(field.isAbsent());
  }
  EXPECT_EQ(platform.log->lines().size(), 1U);
  EXPECT_EQ(contact.fullName(), "(null) (null)");
  EXPECT_EQ(contact.description(), "ExtensionAddress (null)");
}

TEST(ExtensionAddress, DisplayTexts) {
  struct Case {
    const char *first, *last, *company, *mail, *fullName, *prettyprint;
  };
  const Case cases[] = {
      {"Ann", "Lee", "Tea Ltd", "a@b", "Ann Lee", "Ann Lee <a@b>"},
      {"", "Lee", "", "a@b", "Lee", "Lee <a@b>"},
      {"Ann  ", "", "", "a@b", "Ann", "Ann <a@b>"},
      {"", "", "Tea Ltd", "a@b", "", "Tea Ltd <a@b>"},
      {"", "", "", "a@b", "", "<a@b>"},
      {"Ann", "Lee", "", "", "Ann Lee", "Ann Lee"},
      {"", "", "Tea Ltd", "", "", "Tea Ltd"},
      {"", "", "", "", "", ""},
      {"\u00a0Ann", "Lee\u3000\n", "", "", "Ann Lee", "Ann Lee"},  // Unicode white space
      {" ", "\t", "Tea", "", "", "Tea"},
      {"", "", "  ", "a@b", "", "<a@b>"},  // a company of blanks counts until the last trim
      {"", "", "", " \n", "", "< \n>"},
      {"%@", "%lu", "", "%@", "%@ %lu", "%@ %lu <%@>"},
  };
  for (const Case& c : cases) {
    ExtensionAddress contact;
    contact.setFirstName(c.first);
    contact.setLastName(c.last);
    contact.setCompany(c.company);
    contact.setNickname("never used");
    contact.setMail(c.mail);
    EXPECT_EQ(contact.fullName(), c.fullName);
    EXPECT_EQ(contact.prettyprint(), c.prettyprint);
  }
}

TEST(ExtensionAddress, WhatIsNoTextShowsItsTextForm) {
  ExtensionAddress contact;
  contact.setFirstName("");
  contact.setLastName("");
  contact.setCompany(7);
  contact.setMail(5);
  EXPECT_EQ(contact.prettyprint(), "7 <5>");
  EXPECT_EQ(contact.description(), "ExtensionAddress 5");
  contact.setCompany({});
  contact.setMail({});
  EXPECT_EQ(contact.prettyprint(), "");
}

TEST(ExtensionAddress, DescriptionShowsTheMail) {
  ExtensionAddress contact;
  contact.setMail("a@b");
  EXPECT_EQ(contact.description(), "ExtensionAddress a@b");
}

}  // namespace
}  // namespace korvane
