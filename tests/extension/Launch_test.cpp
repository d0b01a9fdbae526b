#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "extension/ConstVars.h"
#include "extension/ExtensionUtilities.h"
#include "platform/NSException.h"
#include "platform/NSNotificationCenter.h"
#include "tests/support/FakeShare.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Request = testing::RecordingWorkspace::Request;

struct LaunchTest : ::testing::Test {
  testing::SharePlatform platform;

  static NSURL url(const char* text) { return NSURL::URLWithString(text).value(); }
  void setIdentifier(Value identifier) {
    platform.services.bundle = std::make_shared<testing::FakeBundle>(std::move(identifier));
    platform.install();
  }
  static std::shared_ptr<ExtensionMessage> message(Value account, Value messageId,
                                                   Value folderStandardId) {
    auto message = std::make_shared<ExtensionMessage>();
    message->setAccount(std::move(account));
    message->setMessageId(std::move(messageId));
    message->setFolderStandardId(std::move(folderStandardId));
    return message;
  }
};

/// Collects the notifications as long as it lives.
struct Observer {
  struct Seen {
    std::shared_ptr<ExtensionMessage> message;
    std::string command;
    std::size_t requestsBefore;
  };
  explicit Observer(const testing::RecordingWorkspace& workspace)
      : observation(NSNotificationCenter::defaultCenter().addObserver(
            ACTION_CALLED_EXTENSION, [this, &workspace](std::string_view, const Value& object) {
              EXPECT_EQ(object.dictionary().size(), 2U);
              seen.push_back({object.objectForKey("message").objectOf<ExtensionMessage>(),
                              std::string(object.objectForKey("command").text()),
                              workspace.requests().size()});
              threads.push_back(std::this_thread::get_id());
            })) {}
  NSNotificationObservation observation;
  std::vector<Seen> seen;
  std::vector<std::thread::id> threads;
};

TEST_F(LaunchTest, CommandWordsAndOptionsAreExact) {
  EXPECT_STREQ(commandArchive, "archive");
  EXPECT_STREQ(commandDelete, "delete");
  EXPECT_STREQ(commandReply, "reply");
  EXPECT_STREQ(commandMessage, "message");
  EXPECT_STREQ(commandCompose, "compose");
  EXPECT_STREQ(commandSend, "send");
  EXPECT_STREQ(commandOpen, "open");
  EXPECT_EQ(NSWorkspaceLaunchAllowingClassicStartup, 131072U);
  EXPECT_EQ(NSWorkspaceLaunchWithoutActivation, 512U);
}

TEST_F(LaunchTest, AnEmptyListOpensNothing) {
  EXPECT_FALSE(ExtensionUtilities::LaunchCommands({}, false));
  EXPECT_FALSE(ExtensionUtilities::LaunchCommands({}, true));
  EXPECT_FALSE(ExtensionUtilities::LaunchCommandForMessages({}, commandReply, false));
  EXPECT_THAT(platform.workspace->requests(), IsEmpty());
}

TEST_F(LaunchTest, AllUrlsGoInOneRequestAndTheAnswerComesBack) {
  EXPECT_TRUE(ExtensionUtilities::LaunchCommands({url("korvane://a"), url("korvane://b")}, false));
  platform.workspace->answer = false;
  EXPECT_FALSE(ExtensionUtilities::LaunchCommands({url("korvane://c")}, true));
  EXPECT_THAT(platform.workspace->requests(),
              ElementsAre(Request{{"korvane://a", "korvane://b"}, "it.drelk.korvane", 131072},
                          Request{{"korvane://c"}, "it.drelk.korvane", 512}));
}

TEST_F(LaunchTest, TheEditionFollowsThePrefixOfTheOwnIdentifier) {
  const std::pair<Value, std::string> rows[] = {
      {"it.drelk.korvane", "it.drelk.korvane"},
      {"it.drelk.korvane.share", "it.drelk.korvane"},
      {"it.drelk.korvane.pro", "it.drelk.korvane"},
      {"it.drelk.korvane.pro.share", "it.drelk.korvane"},
      {"it.drelk.korvane.beta8", "it.drelk.korvane.beta8"},
      {"it.drelk.korvane.beta8.share", "it.drelk.korvane.beta8"},
      {"it.drelk.korvane.beta80", "it.drelk.korvane.beta8"},
      {"it.drelk.korvane.beta10", "it.drelk.korvane.beta10"},
      {"it.drelk.korvane.beta10.share", "it.drelk.korvane.beta10"},
      {"it.drelk.korvane.beta1", "it.drelk.korvane"},
      {"it.drelk.korvane.beta9.share", "it.drelk.korvane"},
      {"it.drelk.korvane.beta", "it.drelk.korvane"},
      {"it.drelk.korvane2", "it.drelk.korvane2"},
      {"it.drelk.korvane2.share", "it.drelk.korvane2"},
      {"it.drelk.korvane2.beta8", "it.drelk.korvane2"},
      {"it.drelk.korvane.2", "it.drelk.korvane"},
      {"IT.DRELK.KORVANE2", "it.drelk.korvane"},
      {"x.it.drelk.korvane2", "it.drelk.korvane"},
      {"com.elsewhere", "it.drelk.korvane"},
      {"", "it.drelk.korvane"},
      {Value(), "it.drelk.korvane"},
      {Value(7), "it.drelk.korvane"},
  };
  std::size_t opened = 0;
  for (const auto& [identifier, edition] : rows) {
    setIdentifier(identifier);
    EXPECT_TRUE(ExtensionUtilities::LaunchCommands({url("korvane://a")}, false));
    ASSERT_EQ(platform.workspace->requests().size(), ++opened);
    EXPECT_EQ(platform.workspace->requests().back().application, edition)
        << identifier.description();
  }
}

TEST_F(LaunchTest, NoOtherEditionIsTriedAfterARefusal) {
  setIdentifier("it.drelk.korvane.beta8");
  platform.workspace->answer = false;
  EXPECT_FALSE(ExtensionUtilities::LaunchCommands({url("korvane://a")}, false));
  EXPECT_EQ(platform.workspace->requests().size(), 1U);
  EXPECT_THAT(platform.log->lines(), IsEmpty());
}

TEST_F(LaunchTest, OnlyTheAccountIsEncoded) {
  EXPECT_TRUE(ExtensionUtilities::LaunchCommandForMessages(
      {message("jane doe@a.example", "1%2Bq@b.example&x=y", 7)}, commandArchive, true));
  EXPECT_THAT(platform.workspace->requests(),
              ElementsAre(Request{{"korvane://archive?mail=jane%20doe%40a.example"
                                   "&messageid=1%2Bq@b.example&x=y&folderstandardid=7"},
                                  "it.drelk.korvane",
                                  512}));
}

TEST_F(LaunchTest, WhatIsAbsentShowsAsNull) {
  EXPECT_TRUE(
      ExtensionUtilities::LaunchCommandForMessages({message({}, {}, {})}, commandReply, false));
  EXPECT_THAT(
      platform.workspace->requests(),
      ElementsAre(Request{{"korvane://reply?mail=(null)&messageid=(null)&folderstandardid=(null)"},
                          "it.drelk.korvane",
                          131072}));
}

TEST_F(LaunchTest, AMessageWithoutAValidUrlIsSkippedWithoutNotificationOrLine) {
  const Observer observer(*platform.workspace);
  for (const char* bad : {"a b", "a\"b", "<1@a>", "a%2", "a#b#c", "a\\b", "\xC3\xA9", "a\nb"}) {
    EXPECT_FALSE(
        ExtensionUtilities::LaunchCommandForMessages({message("a", bad, 1)}, commandDelete, false))
        << bad;
  }
  EXPECT_FALSE(
      ExtensionUtilities::LaunchCommandForMessages({message("a", "1", 1)}, "no word", false));
  EXPECT_THAT(observer.seen, IsEmpty());
  EXPECT_THAT(platform.workspace->requests(), IsEmpty());
  EXPECT_THAT(platform.log->lines(), IsEmpty());
}

TEST_F(LaunchTest, EveryValidMessageIsAnnouncedInOrderBeforeTheOneLaunch) {
  const Observer observer(*platform.workspace);
  platform.workspace->answer = false;
  const auto first = message("a", "1", "inbox");
  const auto second = message("b", "not legal", "inbox");
  const auto third = message("c", "3", Value(2));
  EXPECT_FALSE(ExtensionUtilities::LaunchCommandForMessages({first, second, third, first},
                                                            commandReply, false));
  ASSERT_EQ(observer.seen.size(), 3U);
  EXPECT_EQ(observer.seen[0].message, first);
  EXPECT_EQ(observer.seen[1].message, third);
  EXPECT_EQ(observer.seen[2].message, first);
  for (const auto& seen : observer.seen) {
    EXPECT_EQ(seen.command, "reply");
    EXPECT_EQ(seen.requestsBefore, 0U);
  }
  EXPECT_THAT(observer.threads, ::testing::Each(std::this_thread::get_id()));
  EXPECT_THAT(platform.workspace->requests(),
              ElementsAre(Request{{"korvane://reply?mail=a&messageid=1&folderstandardid=inbox",
                                   "korvane://reply?mail=c&messageid=3&folderstandardid=2",
                                   "korvane://reply?mail=a&messageid=1&folderstandardid=inbox"},
                                  "it.drelk.korvane",
                                  131072}));
}

TEST_F(LaunchTest, AnAccountThatIsNoTextRaises) {
  EXPECT_THROW(ExtensionUtilities::LaunchCommandForMessages({message(Value(List()), "1", 1)},
                                                            commandReply, false),
               NSException);
  EXPECT_THAT(platform.workspace->requests(), IsEmpty());
}

TEST_F(LaunchTest, ANullMessageIsSkipped) {
  EXPECT_FALSE(ExtensionUtilities::LaunchCommandForMessages({nullptr}, "reply", false));
  EXPECT_TRUE(ExtensionUtilities::LaunchCommandForMessages({nullptr, message("a", "1", 2)}, "reply",
                                                           false));
  ASSERT_EQ(platform.workspace->requests().size(), 1U);
  EXPECT_EQ(platform.workspace->requests()[0].urls.size(), 1U);
}

}  // namespace
}  // namespace korvane
