#include "compose/MailtoURL.h"

#include <gmock/gmock.h>

#include "platform/NSString.h"

namespace korvane {
namespace {

using ::testing::IsEmpty;
using Values = std::vector<std::pair<std::string, std::string>>;

/// A mailto: URL as its readers take it apart: cut at "?" and "&", then decoded.
Values parse(std::string url) {
  EXPECT_TRUE(url.starts_with("mailto:"));
  url.erase(0, 7);
  Values values;
  const auto decode = [](const std::string& text) {
    return bytesByReplacingPercentEscapes(text).value();
  };
  const auto mark = url.find('?');
  values.emplace_back("to", decode(url.substr(0, mark)));
  if (mark == url.npos) return values;
  for (std::size_t begin = mark + 1; begin <= url.size();) {
    const auto end = std::min(url.find('&', begin), url.size());
    const std::string piece = url.substr(begin, end - begin);
    const auto equals = piece.find('=');
    values.emplace_back(decode(piece.substr(0, equals)), decode(piece.substr(equals + 1)));
    begin = end + 1;
  }
  return values;
}

TEST(MailtoURL, AnEmptyMessage) {
  LeftOutList leftOut;
  EXPECT_EQ(mailtoURL({}, {}, leftOut), "mailto:");
}

TEST(MailtoURL, EveryValueStaysWhatItIs) {
  const std::string odd = "a&b=c?d#e%0A%20f+g;h,i\"'<>\\ \u00fc \U0001F600&attach=/etc/passwd";
  MailDraft draft;
  draft.subject = odd;
  draft.body.plain = odd + "\n\n" + odd;
  draft.to = {{"", "a@b.example"}, {"C, D; &attach=/etc/passwd", "c&attach=x@d.example"}};
  draft.cc = {{"", "e@f.example"}};
  draft.bcc = {{"", "g@h.example"}};
  LeftOutList leftOut;
  EXPECT_EQ(parse(mailtoURL(draft, {.attachments = {"/a/" + odd, "/a/-x"}}, leftOut)),
            (Values{{"to", "a@b.example,\"C, D; &attach=/etc/passwd\" <c&attach=x@d.example>"},
                    {"cc", "e@f.example"},
                    {"bcc", "g@h.example"},
                    {"subject", odd},
                    {"body", odd + "\r\n\r\n" + odd},
                    {"attach", fileURI("/a/" + odd)},
                    {"attach", "file:///a/-x"}}));
  EXPECT_EQ(parse(mailtoURL(draft, {.bcc = false}, leftOut)).size(), 4U);
  EXPECT_THAT(leftOut, IsEmpty());
}

TEST(MailtoURL, ALongTextIsCutAtACharacterAndFillsTheRoom) {
  for (const std::string piece : {"a", "\n", "\u00fc", "\U0001F600"}) {
    MailDraft draft;
    draft.subject = "s";
    while (draft.body.plain.size() < 200'000) draft.body.plain += piece;
    LeftOutList leftOut;
    const std::string url = mailtoURL(draft, {.attachments = {"/a/b.txt"}}, leftOut);
    EXPECT_LE(url.size(), kMaxArgument) << piece;
    EXPECT_GT(url.size(), kMaxArgument - 100) << piece;
    const Values values = parse(url);
    EXPECT_TRUE(isUTF8(values.at(2).second));
    EXPECT_EQ(values.back().second, "file:///a/b.txt");
    ASSERT_EQ(leftOut.size(), 1U);
    EXPECT_EQ(leftOut[0].item, "the text");
  }
}

TEST(MailtoURL, WhatHasNoRoomIsLeftOutWhole) {
  MailDraft draft;
  draft.body.plain = std::string(100'000, 'b');
  MailtoForm form;
  for (int i = 0; i < 3000; ++i) {
    draft.to.push_back({"", std::to_string(i) + "@a.example"});
    form.attachments.push_back("/folder/" + std::string(100, 'x') + std::to_string(i));
  }
  LeftOutList leftOut;
  const std::string url = mailtoURL(draft, form, leftOut);
  EXPECT_LE(url.size(), kMaxArgument);
  const Values values = parse(url);
  std::size_t attached = 0;
  for (const auto& [key, value] : values) attached += key == "attach" ? 1 : 0;
  EXPECT_GT(attached, 500U);
  const auto recipients =
      static_cast<std::size_t>(std::ranges::count(values.at(0).second, ',')) + 1;
  EXPECT_EQ(leftOut.size(), 3000 - attached + (3000 - recipients) + 1);
}

}  // namespace
}  // namespace korvane
