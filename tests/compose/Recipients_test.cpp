#include "compose/Recipients.h"

#include <gmock/gmock.h>

namespace korvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

std::vector<std::string> taken(const std::string& text) {
  LeftOutList leftOut;
  std::vector<std::string> texts;
  for (const Mailbox& mailbox : mailboxesOf(text, leftOut)) texts.push_back(mailboxText(mailbox));
  EXPECT_THAT(leftOut, IsEmpty()) << text;
  return texts;
}

TEST(Recipients, NoneInAnEmptyText) {
  EXPECT_THAT(taken(""), IsEmpty());
  EXPECT_THAT(taken(" ; ;"), IsEmpty());
}

TEST(Recipients, EveryOneOfAList) {
  EXPECT_THAT(taken("a@b.example;c@d.example;"), ElementsAre("a@b.example", "c@d.example"));
  EXPECT_THAT(taken("a@b.example"), ElementsAre("a@b.example"));
}

TEST(Recipients, WhatIsOneMailbox) {
  const std::pair<std::string, std::string> cases[] = {
      {"Ann <a@b.example>", "\"Ann\" <a@b.example>"},
      {"\"B; C, D\" <a@b.example>", "\"B; C, D\" <a@b.example>"},
      {"\"q\\\"\" <a@b.example>", "\"q\\\"\" <a@b.example>"},
      {"Z\u00f6 <a@b.example>", "\"Z\u00f6\" <a@b.example>"},
      {"=?utf-8?q?=C3=BC?= <a@b.example>", "\"\u00fc\" <a@b.example>"},
      {"<a@b.example>", "a@b.example"},
      {"joe+tag@b.example", "joe+tag@b.example"},
      {"a@[192.0.2.1]", "a@[192.0.2.1]"},
      {"x@b\u00fccher.example", "x@xn--bcher-kva.example"},
      // Neither an option nor a URL.
      {"-a@b.example", "<-a@b.example>"},
      {"\"a b\"@c.example", "<\"a b\"@c.example>"},
  };
  for (const auto& [text, mailbox] : cases) EXPECT_THAT(taken(text), ElementsAre(mailbox));
}

TEST(Recipients, WhatIsNotIsLeftOutByItself) {
  for (const std::string text : {"broken",
                                 "x@",
                                 "@x",
                                 "(null)",
                                 "a@b c@d",
                                 "a@b, c@d",
                                 "Group: a@b",
                                 "a@b@c",
                                 "<a@b",
                                 "a@b>",
                                 "a@b\nBcc: e@x",
                                 "a..b@c",
                                 "a@b..c",
                                 "x:y@z",
                                 "mailto:a@b",
                                 "file:///etc/passwd",
                                 "\u00fc@b.example",
                                 "\"unended@b",
                                 "a@b <c@d>",
                                 "a@b.example\xff"}) {
    LeftOutList leftOut;
    const auto mailboxes = mailboxesOf("first@x.example;" + text, leftOut);
    EXPECT_THAT(mailboxes, SizeIs(1)) << text;
    EXPECT_THAT(leftOut, SizeIs(1)) << text;
  }
}

TEST(Recipients, Lists) {
  EXPECT_EQ(mailboxesText({}), "");
  EXPECT_EQ(mailboxesText({{"", "a@b.example"}, {"Ann", "c@d.example"}}),
            "a@b.example, \"Ann\" <c@d.example>");
}

}  // namespace
}  // namespace korvane
