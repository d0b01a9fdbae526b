#include "host/ShareNotice.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <deque>
#include <mutex>

#include "platform/NSUserNotificationCenter.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestPlatform.h"

namespace korvane {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using namespace std::chrono_literals;
using Delivery = NSUserNotificationDelivery;
using Status = ShareOutcome::Status;

constexpr auto kNever = std::chrono::hours(1);

/// Keeps what it is asked to show, to be waited for.
class RecordingCenter : public NSUserNotificationCenter {
 public:
  Delivery deliverNotification(const NSUserNotification& notification) override {
    const std::lock_guard lock(mutex_);
    shown_.push_back(notification);
    changed_.notify_all();
    if (answer == Delivery::shownWithButton && notification.actionButtonTitle.empty()) {
      return Delivery::shown;
    }
    return answer;
  }
  void removeDeliveredNotification(std::string_view) override {
    const std::lock_guard lock(mutex_);
    ++removed;
  }
  NSUserNotification next() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return !shown_.empty(); });
    NSUserNotification first = shown_.front();
    shown_.pop_front();
    return first;
  }
  bool isQuiet() {
    const std::lock_guard lock(mutex_);
    return shown_.empty();
  }

  Delivery answer = Delivery::shownWithButton;
  int removed = 0;

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<NSUserNotification> shown_;
};

class Notices : public ::testing::Test {
 protected:
  Notices() {
    platform.services.notifications = center;
    platform.install();
  }
  static NoticeOptions atOnce() { return {.inNotification = true, .quiet = 0ms, .pace = 0ms}; }

  std::shared_ptr<RecordingCenter> center = std::make_shared<RecordingCenter>();
  testing::TestPlatform platform;
  std::shared_ptr<Cancellation> cancellation = std::make_shared<Cancellation>();
};

TEST_F(Notices, WhatTakesNoTimeIsNotShown) {
  ShareNotice notice({.inNotification = true, .quiet = kNever}, cancellation);
  notice.progress("Preparing 26 pictures…", 0);
  notice.progress("Preparing 26 pictures…", 1);
  notice.end();
  notice.progress("too late", 1);
  EXPECT_TRUE(center->isQuiet());
  EXPECT_EQ(center->removed, 0);
}

TEST_F(Notices, WhatTakesTimeIsShownAndTakenAwayAtTheEnd) {
  ShareNotice notice(atOnce(), cancellation);
  notice.progress("Preparing 26 pictures…", 0.25);
  const NSUserNotification first = center->next();
  EXPECT_EQ(first.informativeText, "Preparing 26 pictures…");
  EXPECT_EQ(first.progress, 0.25);
  EXPECT_EQ(first.actionButtonTitle, "Cancel");
  notice.progress("Preparing 26 pictures…", 0.5);
  const NSUserNotification second = center->next();
  EXPECT_EQ(second.identifier, first.identifier);
  EXPECT_EQ(second.progress, 0.5);
  notice.end();
  EXPECT_EQ(center->removed, 1);
  notice.end();
  EXPECT_EQ(center->removed, 1);
}

TEST_F(Notices, TheButtonCancelsOrSaysThatItIsTooLate) {
  ShareNotice notice(atOnce(), cancellation);
  notice.progress("Preparing…", -1);
  center->next().activated("");
  EXPECT_TRUE(cancellation->isCancelled());

  const auto expired = std::make_shared<Cancellation>();
  expired->expire();
  ShareNotice late(atOnce(), expired);
  late.progress("Waiting for the mail client…", -1);
  center->next().activated("");
  const NSUserNotification told = center->next();
  EXPECT_THAT(told.informativeText, HasSubstr("too late"));
  EXPECT_EQ(told.actionButtonTitle, "");
}

TEST_F(Notices, WithoutNotificationsNothingIsAskedOfThem) {
  ShareNotice notice({.quiet = 0ms, .pace = 0ms}, cancellation);
  notice.progress("Preparing…", 0);
  notice.end();
  notice.tell({"title", "text", "/file"});
  EXPECT_TRUE(center->isQuiet());
}

TEST_F(Notices, ATerminalHasALineThatIsTakenAway) {
  ::testing::internal::CaptureStderr();
  {
    NoticeOptions options = atOnce();  // the notification tells when the line was written
    options.onTerminal = true;
    ShareNotice notice(options, cancellation);
    notice.progress("Preparing 2\x1B files…", 0.5);
    center->next();
    notice.aside([] { std::fputs("a line\n", stderr); });
    center->next();  // the line is there again
    notice.progress("Preparing 2 files…", 1);
    center->next();
  }
  const std::string written = ::testing::internal::GetCapturedStderr();
  EXPECT_THAT(written, ::testing::StartsWith("\r\x1B[KPreparing 2"));
  EXPECT_THAT(written,
              AllOf(HasSubstr(" files… 50 %\r\x1B[Ka line\n"), Not(HasSubstr("\x1B files"))));
  EXPECT_TRUE(written.ends_with("Preparing 2 files… 100 %\r\x1B[K")) << written;
}

TEST_F(Notices, ATerminalDoesNotShowALineTwice) {
  ::testing::internal::CaptureStderr();
  {
    ShareNotice notice({.onTerminal = true, .quiet = kNever, .pace = 0ms}, cancellation);
    notice.progress("waiting", -1);
    notice.aside([] { std::fputs("waiting\n", stderr); }, "waiting");
  }
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "waiting\n");
}

TEST_F(Notices, AMessageStaysAndItsButtonWorksForAWhile) {
  ShareNotice notice({.inNotification = true, .buttonTime = 0ms}, cancellation);
  notice.end();
  notice.tell({"title", "text", "/file"});
  const NSUserNotification first = center->next();
  EXPECT_EQ(first.title, "title");
  EXPECT_EQ(first.actionButtonTitle, "Show File");
  EXPECT_FALSE(first.progress);
  EXPECT_EQ(center->next().actionButtonTitle, "");
  EXPECT_EQ(center->removed, 0);
  // Without a file, or where no buttons are shown, nobody waits.
  ShareNotice patient({.inNotification = true, .buttonTime = kNever}, cancellation);
  patient.tell({"title", "text", ""});
  EXPECT_EQ(center->next().actionButtonTitle, "");
  for (const Delivery answer : {Delivery::shown, Delivery::notShown}) {
    center->answer = answer;
    patient.tell({"title", "text", "/file"});
    center->next();
  }
  EXPECT_TRUE(center->isQuiet());
}

TEST_F(Notices, AMessageThatIsClosedNeedsNobodyToWait) {
  class Closing : public RecordingCenter {
    Delivery deliverNotification(const NSUserNotification& notification) override {
      notification.closed();
      return Delivery::shownWithButton;
    }
  };
  platform.services.notifications = std::make_shared<Closing>();
  platform.install();
  ShareNotice({.inNotification = true, .buttonTime = kNever}, cancellation)
      .tell({"title", "text", "/file"});
}

TEST(MessageOfAnOutcome, NothingWhereAllIsWell) {
  EXPECT_EQ(messageOf({.status = Status::opened}).title, "");
}

TEST(MessageOfAnOutcome, NamesFilesWithoutTheirFolders) {
  const testing::TemporaryFolder folder;
  ShareOutcome outcome{.status = Status::opened};
  outcome.missing = {{"/a/gone.txt", "it is not there", false, "/a/gone.txt"},
                     {"contract.pdf", "it may not be read", true, folder.file("contract.pdf")},
                     {"the title \"x\"", "it is shared with a link only"}};
  const ShareNotice::Message message = messageOf(outcome);
  EXPECT_EQ(message.title, "Not everything is in the message");
  EXPECT_EQ(message.text,
            "gone.txt is not in the message: it is not there\n"
            "contract.pdf is not in the message: it may not be read\n"
            "the title \"x\" is not in the message: it is shared with a link only");
  EXPECT_EQ(message.file, folder.path("contract.pdf"));
}

TEST(MessageOfAnOutcome, ManyThingsAreCounted) {
  ShareOutcome outcome{.status = Status::opened};
  for (int i = 0; i < 8; ++i) outcome.missing.push_back({"thing", "reason"});
  const std::string text = messageOf(outcome).text;
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 5);
  EXPECT_TRUE(text.ends_with("\n3 more are not in the message"));
}

TEST(MessageOfAnOutcome, WhatWasNotOpenedHasItsReason) {
  const ShareNotice::Message message =
      messageOf({.status = Status::notOpened, .reason = "no mail\nclient\x07 is installed"});
  EXPECT_EQ(message.title, "The message was not opened");
  EXPECT_THAT(message.text, AllOf(HasSubstr("no mail"), Not(HasSubstr("\x07"))));
  EXPECT_EQ(messageOf({.status = Status::opened, .missing = {{"a", "b"}}, .empty = true}).title,
            "Nothing is in the message");
}

}  // namespace
}  // namespace korvane
