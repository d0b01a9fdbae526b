#include "model/ExtensionMessage.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string_view>
#include <thread>

#include "model/ExtensionDate.h"
#include "platform/NSException.h"
#include "support/TestPlatform.h"

namespace korvane {
namespace {

using testing::TestPlatform;

/// Decodes "red" to one red pixel, and nothing else.
class RedImages : public ImageCodec {
 public:
  std::shared_ptr<const Bitmap> decode(const NSData& encoded, std::string*) override {
    if (encoded != NSData{'r', 'e', 'd'}) return nullptr;
    return std::make_shared<Bitmap>(Bitmap{1, 1, 3, 3, {255, 0, 0}});
  }
  std::optional<NSData> encode(const Bitmap&, NSBitmapImageFileType, EncodingEffort) override {
    return std::nullopt;
  }
};

class ExtensionMessageTest : public ::testing::Test {
 protected:
  ExtensionMessageTest() {
    platform.services.images = std::make_shared<RedImages>();
    platform.install();
  }
  static std::shared_ptr<ExtensionAddress> address(const Value& mail) {
    auto made = std::make_shared<ExtensionAddress>();
    made->setMail(mail);
    return made;
  }
  /// The query of the compose URL; "" where there is no URL.
  static std::string query(const ExtensionMessage& message) {
    const auto url = message.queryUrl("compose");
    const std::string prefix = "korvane://compose?";
    if (!url || !url->absoluteString().starts_with(prefix)) return "no URL";
    return url->absoluteString().substr(prefix.size());
  }
  TestPlatform platform;
};

TEST_F(ExtensionMessageTest, NewRecordHasEmptyBodiesAndListsAndNothingElse) {
  const ExtensionMessage message;
  EXPECT_EQ(message.htmlBody(), "");
  EXPECT_EQ(message.plainBody(), "");
  for (const auto& list : {message.to(), message.cc(), message.bcc()}) {
    ASSERT_TRUE(list);
    EXPECT_TRUE(list->empty());
  }
  ASSERT_TRUE(message.attachments());
  EXPECT_TRUE(message.attachments()->empty());
  for (const Value& field :
       {message.subject(), message.account(), message.from(), message.messageId(),
        message.folderPath(), message.unread(), message.folderStandardId()}) {
    EXPECT_TRUE(field.isAbsent());
  }
  EXPECT_FALSE(message.date());
  EXPECT_FALSE(message.dateString());
  EXPECT_FALSE(message.image());
  EXPECT_FALSE(message.toString() || message.ccString() || message.bccString());
}

TEST_F(ExtensionMessageTest, EmptyDictionaryGivesTheDefaults) {
  for (const Value& nothing : {Value(Dictionary()), Value()}) {
    const ExtensionMessage message(nothing);
    EXPECT_EQ(message.subject(), Value("No subject"));
    for (const Value& field :
         {message.messageId(), message.from(), message.account(), message.folderPath()}) {
      EXPECT_EQ(field, Value(""));
    }
    EXPECT_EQ(message.folderStandardId(), Value(0));
    EXPECT_EQ(message.unread(), Value(0));
    EXPECT_EQ(message.date(), NSDate{0});
    EXPECT_EQ(message.dateString(), ExtensionDate::shared().centralDate(NSDate{0}));
    EXPECT_FALSE(message.image());
    EXPECT_FALSE(message.htmlBody() || message.plainBody());
    EXPECT_FALSE(message.to() || message.cc() || message.bcc() || message.attachments());
    EXPECT_TRUE(platform.log->lines().empty());
  }
}

TEST_F(ExtensionMessageTest, MissingSubjectIsTranslated) {
  platform.bundle->translations["No subject"] = "Kein Betreff";
  EXPECT_EQ(ExtensionMessage(Dictionary()).subject(), Value("Kein Betreff"));
}

TEST_F(ExtensionMessageTest, ValuesOfAnyKindAreStoredAsTheyStand) {
  const Value list = List{1, "two"};
  const Dictionary dictionary{{"subject", 5},   {"messageId", list},   {"from", true},
                              {"account", ""},  {"folder", NSDate{3}}, {"folderStid", "seven"},
                              {"isUnread", 1.5}};
  const ExtensionMessage message(dictionary);
  EXPECT_EQ(message.subject(), Value(5));
  EXPECT_EQ(message.messageId(), list);
  EXPECT_EQ(message.from(), Value(true));
  EXPECT_EQ(message.account(), Value(""));
  EXPECT_EQ(message.folderPath(), Value(NSDate{3}));
  EXPECT_EQ(message.folderStandardId(), Value("seven"));
  EXPECT_EQ(message.unread(), Value(1.5));
  EXPECT_TRUE(platform.log->lines().empty());
}

TEST_F(ExtensionMessageTest, OtherKeysAreNotRead) {
  const ExtensionMessage message(Dictionary{{"to", List{}},
                                            {"cc", "x"},
                                            {"bcc", "x"},
                                            {"plainBody", "x"},
                                            {"htmlBody", "x"},
                                            {"attachments", List{}},
                                            {"attachment_0", "/x"}});
  EXPECT_FALSE(message.htmlBody() || message.plainBody() || message.attachments() || message.to());
}

TEST_F(ExtensionMessageTest, DatesHaveSinglePrecision) {
  struct Case {
    Value date;
    double expected;
  };
  // Between 2^30 and 2^31 the values are 128 apart, and a tie goes to the even neighbour.
  const Case cases[] = {
      {1479300000, 1479299968},
      {"1479300000", 1479299968},
      {1479299968, 1479299968},
      {1479300032, 1479300096},
      {1479300033.5, 1479300096},
      {std::int64_t{-2208988800}, -2208988672},
      {16777217, 16777216},
      {16777219, 16777220},
      {" 12.5 seconds", 12.5},
      {"", 0},
      {"later", 0},
      {true, 1},
      {"-1479300000", -1479299968},
      {"0x57", 0},
      {"nan", 0},
      {"infinity", 0},
      {1e300, HUGE_VAL},
      {"1e400", HUGE_VAL},
      {"-1e400", -HUGE_VAL},
      {std::string(100'000, '9'), HUGE_VAL},
      // An integer is rounded once, not to a fraction of double precision first.
      {(std::int64_t{1} << 53) + (1 << 29) + 1, 9007200328482816},
  };
  for (const Case& c : cases) {
    const ExtensionMessage message(Dictionary{{"date", c.date}});
    EXPECT_EQ(message.date(), NSDate{c.expected}) << c.date.description();
  }
}

TEST_F(ExtensionMessageTest, AvatarIsDecodedAndItsFailuresAreSilent) {
  EXPECT_EQ(ExtensionMessage(Dictionary{{"avatar", "cm Vk\n"}}).image()->bitmap().width, 1U);
  for (const char* bad : {"cmVkcmVk", "cmV", "***", ""}) {
    EXPECT_FALSE(ExtensionMessage(Dictionary{{"avatar", bad}}).image()) << bad;
  }
  EXPECT_TRUE(platform.log->lines().empty());
}

TEST_F(ExtensionMessageTest, FailingStepKeepsWhatWasReadAndIsLogged) {
  const ExtensionMessage late(
      Dictionary{{"subject", "s"}, {"folderStid", 3}, {"date", List{}}, {"avatar", "cmVk"}});
  EXPECT_EQ(late.subject(), Value("s"));
  EXPECT_EQ(late.folderStandardId(), Value(3));
  EXPECT_EQ(late.unread(), Value(0));
  EXPECT_FALSE(late.date() || late.dateString() || late.image());
  ASSERT_EQ(platform.log->lines().size(), 1U);
  EXPECT_EQ(platform.log->lines()[0].find("ExtensionMessage initWithDictonary "), 0U);
  EXPECT_EQ(platform.log->lines()[0].find("%@"), std::string::npos);

  platform.log->clear();
  const ExtensionMessage avatar(Dictionary{{"avatar", 5}});
  EXPECT_EQ(avatar.date(), NSDate{0});
  EXPECT_FALSE(avatar.image());
  EXPECT_EQ(platform.log->lines().size(), 1U);

  platform.log->clear();
  const ExtensionMessage none(Value("no dictionary"));
  EXPECT_TRUE(none.subject().isAbsent());
  EXPECT_EQ(platform.log->lines().size(), 1U);
}

TEST_F(ExtensionMessageTest, DescriptionShowsTheSubject) {
  ExtensionMessage message;
  EXPECT_EQ(message.description(), "ExtensionMessage (null)");
  message.setSubject("100 %@ sure");
  EXPECT_EQ(message.description(), "ExtensionMessage 100 %@ sure");
}

TEST_F(ExtensionMessageTest, EqualityLooksAtIdentifierAndAccountAlone) {
  ExtensionMessage a;
  ExtensionMessage b;
  EXPECT_TRUE(a.isEqual(&a));
  EXPECT_FALSE(a.isEqual(nullptr));
  EXPECT_FALSE(a.isEqual("a text"));
  EXPECT_FALSE(a.isEqual(Value()));
  EXPECT_FALSE(a.isEqual(std::make_shared<ExtensionAddress>())) << "another class";
  EXPECT_FALSE(a.isEqual(&b)) << "absent identifiers equal nothing";
  a.setMessageId("1");
  b.setMessageId("1");
  EXPECT_FALSE(a.isEqual(&b)) << "accounts are absent";
  a.setAccount("x");
  EXPECT_FALSE(a.isEqual(&b));
  EXPECT_FALSE(b.isEqual(&a));
  b.setAccount("x");
  b.setSubject("another");
  EXPECT_TRUE(a.isEqual(&b));
  EXPECT_TRUE(b.isEqualToModel(a));
  b.setAccount("X");
  EXPECT_FALSE(a.isEqualToModel(b));
  b.setAccount("x");
  a.setMessageId("\u00E9");
  b.setMessageId("e\u0301");
  EXPECT_FALSE(a.isEqual(&b)) << "the same letter, other characters";
  b.setMessageId("");
  a.setMessageId("");
  EXPECT_TRUE(a.isEqual(&b)) << "empty is not absent";
  b.setMessageId(1);
  EXPECT_FALSE(a.isEqual(&b));
  a.setMessageId(1);
  EXPECT_TRUE(a.isEqual(&b));
}

TEST_F(ExtensionMessageTest, EmptyRecordStillMakesAURL) {
  EXPECT_EQ(ExtensionMessage().queryUrl("compose")->absoluteString(), "korvane://compose?");
  ExtensionMessage withNull;
  withNull.setTo(ExtensionMessage::Addresses{nullptr});
  withNull.setCc(ExtensionMessage::Addresses{nullptr, address("a"), nullptr});
  EXPECT_EQ(query(withNull), "cc=a%3B");
}

TEST_F(ExtensionMessageTest, URLCarriesTheFieldsInTheirOrder) {
  ExtensionMessage message;
  message.setSubject("Tea & biscuits");
  message.setPlainBody("p");
  message.setHtmlBody("<b>");
  message.setFrom("a@b");
  message.setAccount("acc");
  message.setTo(ExtensionMessage::Addresses{address("x@y"), address("z@w")});
  message.setCc(ExtensionMessage::Addresses{address("")});
  message.setBcc(ExtensionMessage::Addresses{address(Value())});
  message.setToString("ignored");
  message.setMessageId("ignored");
  EXPECT_EQ(query(message),
            "plainBody=p&htmlBody=%3Cb%3E&subject=Tea%20%26%20biscuits&from=a%40b&account=acc"
            "&bcc=%28null%29%3B&cc=%3B&to=x%40y%3Bz%40w%3B");
}

TEST_F(ExtensionMessageTest, AbsentAndEmptyFieldsAndListsAddNoKey) {
  ExtensionMessage message;
  message.setSubject("");
  message.setHtmlBody(std::nullopt);
  message.setPlainBody(std::nullopt);
  message.setTo(std::nullopt);
  message.setAttachments(std::nullopt);
  EXPECT_EQ(query(message), "");
}

TEST_F(ExtensionMessageTest, AttachmentsAreNumberedByTheirPosition) {
  ExtensionMessage message;
  message.setAttachments(List{"/tmp/a b,c=&.txt", 5,
                              *NSURL::URLWithString("file:///tmp/x%20y%C3%A9/"), "", Value(),
                              List{}});
  EXPECT_EQ(query(message),
            "attachment_0=%2Ftmp%2Fa%20b%2Cc%3D%26.txt&attachment_2=%2Ftmp%2Fx%20y%C3%A9"
            "&attachment_3=");
}

TEST_F(ExtensionMessageTest, CommandWordMustBeLegalInAURL) {
  const ExtensionMessage message;
  for (const std::string_view bad : {"com pose", "c\xc3\xb6mpose", "a<b", "%zz", "a|b", "a%", "a%2",
                                     "a\"b", "a{b", "a\\b", "a^b", "a`b", "a\nb", "a#b#c"}) {
    EXPECT_FALSE(message.queryUrl(bad)) << bad;
  }
  EXPECT_FALSE(message.queryUrl(std::string_view("a\0b", 3)));
  for (const std::string good : {"", "a%20b", "a/b", "-._~", "SEND"}) {
    EXPECT_EQ(message.queryUrl(good)->absoluteString(), "korvane://" + good + "?");
  }
  EXPECT_EQ(message.queryUrl("send")->absoluteString(), "korvane://send?");
}

TEST_F(ExtensionMessageTest, SubjectThatIsNoTextIsRaised) {
  ExtensionMessage message;
  message.setSubject(7);
  EXPECT_THROW(message.queryUrl("compose"), NSException);
}

TEST_F(ExtensionMessageTest, LargeBodiesTravelWhole) {
  ExtensionMessage message;
  message.setPlainBody(std::string(20'000'000, 'x') + "&");
  EXPECT_EQ(query(message).size(), 20'000'000 + std::string("plainBody=%26").size());
}

TEST_F(ExtensionMessageTest, AppendingFromManyThreadsLosesNothing) {
  ExtensionMessage message;
  message.setHtmlBody(std::nullopt);
  message.setAttachments(std::nullopt);
  constexpr int kThreads = 4;
  constexpr int kTimes = 500;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&message] {
      for (int i = 0; i < kTimes; ++i) {
        message.appendToHtmlBody("ab");
        message.addAttachments({"/x", "/y"});
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(message.htmlBody()->size(), 2U * kThreads * kTimes);
  EXPECT_EQ(message.attachments()->size(), 2U * kThreads * kTimes);
}

TEST_F(ExtensionMessageTest, AttachmentsWaitForTheRecordsLockAndBodiesDoNot) {
  ExtensionMessage message;
  auto lock = message.synchronized();
  std::thread appender([&] { message.addAttachments({"/x"}); });
  std::thread writer([&] {
    message.appendToHtmlBody("a");
    message.setSubject("s");
  });
  writer.join();  // ends although the lock is held
  EXPECT_EQ(message.htmlBody(), "a");
  EXPECT_TRUE(message.attachments()->empty());
  message.addAttachments({"/own"});  // the holder itself may
  lock.unlock();
  appender.join();
  EXPECT_EQ(*message.attachments(), (List{"/own", "/x"}));
}

}  // namespace
}  // namespace korvane
