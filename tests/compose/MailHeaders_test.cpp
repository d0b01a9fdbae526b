#include "compose/MailHeaders.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

TEST(MailHeaders, Texts) {
  EXPECT_EQ(headerText(""), "");
  EXPECT_EQ(headerText("Tea & biscuits"), "Tea & biscuits");
  EXPECT_EQ(headerText("gr\u00fc\u00df"), "=?UTF-8?Q?gr=C3=BC=C3=9F?=");
  // What reads as an encoded word, or would lose white space, is encoded.
  EXPECT_EQ(headerText("=?utf-8?q?x?="), "=?UTF-8?Q?=3D=3Futf=2D8=3Fq=3Fx=3F=3D?=");
  EXPECT_EQ(headerText("a  b"), "=?UTF-8?Q?a__b?=");
}

TEST(MailHeaders, LongTextsAreFoldedAtSpacesAndCharacters) {
  std::string words;
  for (int i = 0; i < 30; ++i) words += (i ? " word" : "word") + std::to_string(i);
  std::string unfolded = headerText(words);
  EXPECT_NE(unfolded.find("\n "), unfolded.npos);
  for (auto at = unfolded.find('\n'); at != unfolded.npos; at = unfolded.find('\n')) {
    unfolded.erase(at, 1);
  }
  EXPECT_EQ(unfolded, words);

  std::string letters;
  std::string encoded;
  for (int i = 0; i < 10; ++i) {
    letters += "\u00fc";
    encoded += "=C3=BC";
  }
  EXPECT_EQ(headerText(letters + letters),
            "=?UTF-8?Q?" + encoded + "?=\n =?UTF-8?Q?" + encoded + "?=");
}

TEST(MailHeaders, Mailboxes) {
  EXPECT_EQ(headerMailboxes({}), "");
  EXPECT_EQ(headerMailboxes({{"", "a@b"}, {"Ann, B", "c@d"}, {"\u00fc", "e@f"}, {"q\"", "g@h"}}),
            "a@b,\n \"Ann, B\"\n <c@d>,\n =?UTF-8?Q?=C3=BC?=\n <e@f>,\n \"q\\\"\"\n <g@h>");
}

TEST(MailHeaders, Parameters) {
  EXPECT_EQ(headerParameter("name", "a, b; c.txt"), ";\n name=\"a, b; c.txt\"");
  EXPECT_EQ(headerParameter("name", "\u00fc.txt"), ";\n name*=UTF-8''%C3%BC.txt");
  EXPECT_EQ(headerParameter("name", "q \"q\""), ";\n name*=UTF-8''q%20%22q%22");
  EXPECT_EQ(headerParameter("name", "=?utf-8?q?x?="), ";\n name*=UTF-8''%3D%3Futf-8%3Fq%3Fx%3F%3D");
  std::string emoji;
  for (int i = 0; i < 5; ++i) emoji += "\U0001F600";
  EXPECT_EQ(headerParameter("name", emoji),
            ";\n name*0*=UTF-8''%F0%9F%98%80%F0%9F%98%80%F0%9F%98%80;\n "
            "name*1*=%F0%9F%98%80%F0%9F%98%80");
  EXPECT_EQ(headerParameter("name", std::string(60, 'x')),
            ";\n name*0*=UTF-8''" + std::string(47, 'x') + ";\n name*1*=" + std::string(13, 'x'));
}

}  // namespace
}  // namespace korvane
