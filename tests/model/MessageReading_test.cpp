#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/ExtensionMessage.h"
#include "support/TestPlatform.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::shared_ptr<ExtensionMessage> read(std::string_view text) {
  const std::optional<NSURL> url = NSURL::URLWithString(text);
  EXPECT_TRUE(url) << text;
  return ExtensionMessage::ExtensionMessageWithUrl(url.value());
}

std::vector<std::string> attachments(const ExtensionMessage& message) {
  std::vector<std::string> texts;
  const List elements = message.attachments().value();
  for (const Value& element : elements) texts.emplace_back(element.text());
  return texts;
}

void expectDefaults(const ExtensionMessage& message) {
  EXPECT_TRUE(message.subject().isAbsent());
  EXPECT_TRUE(message.account().isAbsent());
  EXPECT_TRUE(message.from().isAbsent());
  EXPECT_TRUE(message.messageId().isAbsent());
  EXPECT_TRUE(message.folderPath().isAbsent());
  EXPECT_TRUE(message.unread().isAbsent());
  EXPECT_TRUE(message.folderStandardId().isAbsent());
  EXPECT_EQ(message.dateString(), std::nullopt);
  EXPECT_EQ(message.date(), std::nullopt);
  EXPECT_EQ(message.plainBody(), "");
  EXPECT_EQ(message.htmlBody(), "");
  EXPECT_EQ(message.toString(), std::nullopt);
  EXPECT_EQ(message.ccString(), std::nullopt);
  EXPECT_EQ(message.bccString(), std::nullopt);
  EXPECT_TRUE(message.to().value().empty());
  EXPECT_TRUE(message.cc().value().empty());
  EXPECT_TRUE(message.bcc().value().empty());
  EXPECT_TRUE(message.attachments().value().empty());
}

TEST(MessageReading, EveryName) {
  const auto message = read(
      "korvane://compose?plainBody=p%0Aq&htmlBody=%3Cb%3E&subject=s&from=f&account=a&bcc=1%3B&"
      "cc=2%3B&to=3%3B4%3B&attachment_0=%2Fx&other=o&messageId=m&date=1");
  EXPECT_EQ(message->plainBody(), "p\nq");
  EXPECT_EQ(message->htmlBody(), "<b>");
  EXPECT_EQ(message->subject(), Value("s"));
  EXPECT_EQ(message->from(), Value("f"));
  EXPECT_EQ(message->account(), Value("a"));
  EXPECT_EQ(message->bccString(), "1;");
  EXPECT_EQ(message->ccString(), "2;");
  EXPECT_EQ(message->toString(), "3;4;");
  EXPECT_THAT(attachments(*message), ElementsAre("/x"));
  EXPECT_TRUE(message->to().value().empty());
  EXPECT_TRUE(message->cc().value().empty());
  EXPECT_TRUE(message->bcc().value().empty());
  EXPECT_TRUE(message->messageId().isAbsent());
  EXPECT_EQ(message->date(), std::nullopt);
}

TEST(MessageReading, URLsThatCarryNothing) {
  for (const char* url : {
           "korvane://compose",
           "korvane://compose?",
           "korvane:",
           "x",
           "korvane://compose?&&&",
           "korvane://compose?subject",              // no "="
           "korvane://compose?Subject=x&SUBJECT=x",  // other names
           "korvane://compose?subject%20=x&%20subject=x",
           "korvane://compose?attachment=x&Attachment_0=x&attachment0=x",
           "korvane://compose?=x",
           "korvane:subject=x",              // without "?" the name is "korvane:subject"
           "korvane://compose#subject=x",    // no query, only a fragment
           "korvane://compose#f?subject=x",  // the query cannot be located
           "korvane://compose?subject=%FF",  // no UTF-8
           "korvane://compose?subject=x&%C3=1&from=y",
           "korvane://compose?subject=%ED%A0%80",  // a surrogate
           "korvane://compose?subject=x&z=%C0%80",
           "korvane://compose??subject=x",  // the name is "?subject"
           "korvane://compose?a?subject=x",
           "korvane://compose?subject[][]=x",  // one pair of brackets is not part of the name
           "korvane://compose?messageId=1&folder=1&date=1&unread=1&image=1&toString=1",
       }) {
    SCOPED_TRACE(url);
    expectDefaults(*read(url));
  }
}

TEST(MessageReading, NamesAndValues) {
  EXPECT_EQ(read("korvane://compose?subject=a&subject=b")->subject(), Value("b"));
  EXPECT_EQ(read("korvane://compose?subject[]=a")->subject(), Value("a"));
  EXPECT_EQ(read("korvane://compose?subject%5B%5D=a")->subject(), Value("a"));
  EXPECT_EQ(read("korvane://compose?subject[]=a&subject=b&subject[]=c")->subject(), Value("c"));
  EXPECT_EQ(read("korvane://compose?subject=a+b%2B")->subject(), Value("a b+"));
  EXPECT_EQ(read("korvane://compose?subject=")->subject(), Value(""));
  EXPECT_EQ(read("korvane://compose?subject=a=b=c")->subject(), Value("a"));
  EXPECT_EQ(read("korvane://compose?subject=a=%FF")->subject(), Value("a")) << "never decoded";
  EXPECT_EQ(read("korvane://compose?%FF&subject=a")->subject(), Value("a")) << "no value, no name";
  EXPECT_EQ(read("korvane://compose?subject==b")->subject(), Value(""));
  EXPECT_EQ(read("korvane://compose?subject=a?b/c")->subject(), Value("a?b/c"));
  EXPECT_EQ(read("korvane://compose?subject=a#&from=b")->subject(), Value("a"));
  EXPECT_EQ(read("korvane://compose?%73ubject=a")->subject(), Value("a"));
  EXPECT_EQ(read("korvane://compose?subject=%00x")->subject(), Value(std::string("\0x", 2)));
  EXPECT_EQ(read("https://other.example/any?subject=a")->subject(), Value("a"));
  EXPECT_EQ(read("?subject=a")->subject(), Value("a"));
  EXPECT_EQ(read("subject=a")->subject(), Value("a"));
}

TEST(MessageReading, AttachmentsInTheOrderOfTheQuery) {
  EXPECT_THAT(attachments(*read("korvane://compose?attachment_1=b&attachment_0=a")),
              ElementsAre("b", "a"));
  EXPECT_THAT(attachments(*read("korvane://compose?attachment_=a&attachment_x%20y=b&"
                                "attachment_0[]=c&attachment_99999999999999999999=")),
              ElementsAre("a", "b", "c", ""));
  // A name that comes twice keeps its first place and its last value.
  EXPECT_THAT(attachments(*read("korvane://compose?attachment_0=a&attachment_1=b&attachment_0=c")),
              ElementsAre("c", "b"));
  EXPECT_THAT(attachments(*read("korvane://compose?attachment_0=file%3A%2F%2F%2Fa%20b")),
              ElementsAre("file:///a b"));
}

/// A message with one text in every field.
std::shared_ptr<ExtensionMessage> messageOf(const std::string& text) {
  auto message = std::make_shared<ExtensionMessage>();
  message->setSubject(text);
  message->setFrom(text);
  message->setAccount(text);
  message->setPlainBody(text);
  message->setHtmlBody(text);
  auto address = std::make_shared<ExtensionAddress>();
  address->setMail(text);
  message->setTo(ExtensionMessage::Addresses{address, address});
  message->setCc(ExtensionMessage::Addresses{address});
  message->setBcc(ExtensionMessage::Addresses{address});
  message->setAttachments(List{text, 5, text});
  return message;
}

/// What a text is after the way through a URL: decoding drops one byte order mark at its beginning.
std::string carried(std::string text) {
  if (text.starts_with("\uFEFF")) text.erase(0, 3);
  return text;
}

void expectRoundTrip(const std::string& text) {
  const std::optional<NSURL> url = messageOf(text)->queryUrl("compose");
  ASSERT_TRUE(url);
  const auto message = ExtensionMessage::ExtensionMessageWithUrl(*url);
  const std::string want = carried(text);
  EXPECT_EQ(message->subject(), Value(want));
  EXPECT_EQ(message->from(), Value(want));
  EXPECT_EQ(message->account(), Value(want));
  EXPECT_EQ(message->plainBody(), want);
  EXPECT_EQ(message->htmlBody(), want);
  EXPECT_EQ(message->toString(), want + ";" + text + ";");
  EXPECT_EQ(message->ccString(), want + ";");
  EXPECT_EQ(message->bccString(), want + ";");
  EXPECT_THAT(attachments(*message), ElementsAre(want, want));
}

void appendScalar(std::string& text, char32_t scalar) {
  const auto append = [&](char32_t byte) { text += static_cast<char>(byte); };
  if (scalar < 0x80) {
    append(scalar);
  } else if (scalar < 0x800) {
    append(0xC0 | (scalar >> 6));
    append(0x80 | (scalar & 0x3F));
  } else if (scalar < 0x10000) {
    append(0xE0 | (scalar >> 12));
    append(0x80 | ((scalar >> 6) & 0x3F));
    append(0x80 | (scalar & 0x3F));
  } else {
    append(0xF0 | (scalar >> 18));
    append(0x80 | ((scalar >> 12) & 0x3F));
    append(0x80 | ((scalar >> 6) & 0x3F));
    append(0x80 | (scalar & 0x3F));
  }
}

constexpr bool isScalar(char32_t scalar) { return scalar < 0xD800 || scalar > 0xDFFF; }

TEST(MessageReading, RoundTripOfEveryCharacterAlone) {
  for (char32_t scalar = 0; scalar < 0x3100; ++scalar) {
    std::string text;
    appendScalar(text, scalar);
    expectRoundTrip(text);
    if (HasFailure()) FAIL() << "U+" << std::hex << static_cast<unsigned>(scalar);
  }
}

TEST(MessageReading, RoundTripOfByteOrderMarks) {
  for (const char* text : {"\uFEFF", "\uFEFFx", "x\uFEFF", "\uFEFF\uFEFF"}) expectRoundTrip(text);
}

TEST(MessageReading, RoundTripOfAllOfUnicode) {
  std::size_t tested = 0;
  for (char32_t first = 0; first <= 0x10FFFF; first += 0x1000) {
    std::string text;
    for (char32_t scalar = first; scalar < first + 0x1000; ++scalar) {
      if (!isScalar(scalar)) continue;
      appendScalar(text, scalar);
      ++tested;
    }
    if (text.empty()) continue;
    expectRoundTrip(text);
    if (HasFailure()) FAIL() << "from U+" << std::hex << static_cast<unsigned>(first);
  }
  EXPECT_EQ(tested, 0x110000u - 0x800u);
}

TEST(MessageReading, RoundTripOfRandomTexts) {
  std::mt19937 random(1);
  for (int round = 0; round < 500; ++round) {
    std::string text;
    const unsigned length = 1 + random() % 40;
    while (text.size() < length) {
      const char32_t limit = random() % 2 == 0 ? 0x80 : 0x110000;
      const char32_t scalar = random() % limit;
      if (isScalar(scalar)) appendScalar(text, scalar);
    }
    expectRoundTrip(text);
    if (HasFailure()) FAIL() << round;
  }
}

TEST(MessageReading, RoundTripOfTwentyMegabytes) {
  std::string text;
  while (text.size() < 20'000'000) text += "<b>äöü & = ? # % +</b>\r\n";
  ExtensionMessage message;
  message.setHtmlBody(text);
  message.setSubject("after it");
  const std::optional<NSURL> url = message.queryUrl("compose");
  ASSERT_TRUE(url);
  const auto back = ExtensionMessage::ExtensionMessageWithUrl(*url);
  EXPECT_TRUE(back->htmlBody() == text);
  EXPECT_EQ(back->subject(), Value("after it"));
}

TEST(MessageReading, TwoRecipients) {
  ExtensionMessage message;
  message.setSubject("Hi");
  message.setPlainBody("There");
  ExtensionMessage::Addresses to;
  for (const char* mail : {"a@a.example", "b@b.example"}) {
    to.push_back(std::make_shared<ExtensionAddress>());
    to.back()->setMail(mail);
  }
  message.setTo(to);
  const auto back = ExtensionMessage::ExtensionMessageWithUrl(message.queryUrl("compose").value());
  EXPECT_EQ(back->subject(), Value("Hi"));
  EXPECT_EQ(back->plainBody(), "There");
  EXPECT_EQ(back->toString(), "a@a.example;b@b.example;");
  EXPECT_TRUE(back->to().value().empty());
}

/// Gives the URLs it was made with, wherever the text holds anything.
class FixedDetector : public NSDataDetector {
 public:
  explicit FixedDetector(std::vector<std::string> urls) : urls_(std::move(urls)) {}
  std::vector<NSTextCheckingResult> matchesInString(std::string_view text) override {
    std::vector<NSTextCheckingResult> found;
    if (text.empty()) return found;
    for (const std::string& url : urls_) found.push_back({0, 1, NSURL::URLWithString(url).value()});
    return found;
  }

 private:
  std::vector<std::string> urls_;
};

TEST(SearchUrlsDetector, AbsoluteTextsInOrderWithDuplicates) {
  testing::TestPlatform platform;
  platform.services.links = std::make_shared<FixedDetector>(
      std::vector<std::string>{"http://b.example", "http://a.example", "http://b.example"});
  platform.install();
  const ExtensionMessage message;
  EXPECT_THAT(message.searchUrlsDetector("text"),
              ElementsAre("http://b.example", "http://a.example", "http://b.example"));
  EXPECT_THAT(message.searchUrlsDetector(""), IsEmpty());
}

TEST(SearchUrlsDetector, NothingWithoutADetector) {
  testing::TestPlatform platform;
  EXPECT_THAT(ExtensionMessage().searchUrlsDetector("http://a.example"), IsEmpty());
}

}  // namespace
}  // namespace korvane
