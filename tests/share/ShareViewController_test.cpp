#include "share/ShareViewController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/NSException.h"
#include "tests/support/FakeShare.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using testing::FakeContext;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using testing::urlProvider;
using Request = testing::RecordingWorkspace::Request;

const NSError kCancelled{NSCocoaErrorDomain, 3072, ""};

/// Removes nothing without saying so.
struct WatchedFiles : testing::MemoryFiles {
  bool removeItemAtURL(const NSURL& url, std::optional<NSError>& error) override {
    onStep("remove " + url.fileSystemRepresentation());
    return MemoryFiles::removeItemAtURL(url, error);
  }
  bool createDirectoryAtURL(const NSURL& url, bool withIntermediateDirectories,
                            std::optional<NSError>& error) override {
    onStep("create " + url.fileSystemRepresentation());
    return MemoryFiles::createDirectoryAtURL(url, withIntermediateDirectories, error);
  }
  std::function<void(const std::string&)> onStep;
};

struct ShareViewControllerTest : ::testing::Test {
  testing::SharePlatform platform;
  std::shared_ptr<FakeContext> context;

  /// Runs a share to its end.
  void share(std::vector<NSExtensionItem> items) {
    context = std::make_shared<FakeContext>(std::move(items));
    ShareViewController controller;
    controller.setExtensionContext(context);
    controller.loadViewIfNeeded();
    platform.waitUntilIdle();
  }
  static NSExtensionItem link(std::string_view url, std::string_view title) {
    NSExtensionItem item;
    item.attributedTitle = NSAttributedString(title);
    item.attachments.push_back(urlProvider(url));
    return item;
  }
};

TEST_F(ShareViewControllerTest, TheStepsComeInTheirOrder) {
  const NSExtensionItem shared = link("https://a.example", "T");
  for (const auto& items : {std::vector<NSExtensionItem>{}, std::vector{shared}}) {
    // The job cannot start before the main thread is done: order, not luck, decides.
    struct HeldQueue : DispatchQueue {
      void async(long, std::function<void()> job) override {
        steps->emplace_back("queue");
        jobs.push_back(std::move(job));
      }
      std::vector<std::function<void()>> jobs;
      std::vector<std::string>* steps = nullptr;
    };
    std::vector<std::string> steps;
    const auto files = std::make_shared<WatchedFiles>();
    files->onStep = [&](const std::string& step) { steps.push_back(step); };
    const auto queue = std::make_shared<HeldQueue>();
    queue->steps = &steps;
    platform.bundle->onLoadNib = [&](std::string_view name) {
      steps.push_back("nib " + std::string(name));
    };
    platform.services.fileManager = files;
    platform.services.queue = queue;
    platform.install();

    context = std::make_shared<FakeContext>(items);
    context->onCancel = [&] { steps.emplace_back("cancel"); };
    context->onInputItems = [&] { steps.emplace_back("items"); };
    {
      ShareViewController controller;
      controller.setExtensionContext(context);
      controller.loadView();
    }  // the job outlives the controller
    ASSERT_THAT(queue->jobs, SizeIs(1));
    queue->jobs.front()();

    EXPECT_THAT(steps, ElementsAre("remove /container/SharedData/Share",
                                   "create /container/SharedData/Share", "nib ShareViewController",
                                   "cancel", "queue", "items"));
    EXPECT_THAT(context->cancelled, ElementsAre(kCancelled));
    EXPECT_THAT(context->completed, IsEmpty());
    EXPECT_THAT(platform.log->lines(), SizeIs(2));  // the first share's doubled line
    platform.log->clear();
    platform.bundle->onLoadNib = nullptr;
  }
  EXPECT_THAT(platform.workspace->requests(), SizeIs(2));
}

TEST_F(ShareViewControllerTest, ALinkOpensTheMailClientInTheForeground) {
  share({link("https://a.example/", "A page")});
  EXPECT_THAT(
      platform.workspace->requests(),
      ElementsAre(Request{{"korvane://compose?htmlBody=%3Ca%20href%3D%22https%3A%2F%2Fa.example%2F"
                           "%22%3Ehttps%3A%2F%2Fa.example%2F%3C%2Fa%3E&subject=A%20page"},
                          "it.drelk.korvane",
                          131072}));
  EXPECT_THAT(context->cancelled, ElementsAre(kCancelled));
}

TEST_F(ShareViewControllerTest, AnEmptyShareStillOpensTheMailClient) {
  share({});
  EXPECT_THAT(platform.workspace->requests(),
              ElementsAre(Request{{"korvane://compose?"}, "it.drelk.korvane", 131072}));
  EXPECT_THAT(platform.clock->sleeps(), SizeIs(1));
}

TEST_F(ShareViewControllerTest, AFailedLaunchIsNotReported) {
  platform.workspace->answer = false;
  share({link("https://a.example/", "A page")});
  EXPECT_THAT(platform.workspace->requests(), SizeIs(1));
  EXPECT_THAT(platform.log->lines(), SizeIs(2));  // of the missing staging folder alone
}

TEST_F(ShareViewControllerTest, StagedFilesAreTheAttachments) {
  platform.files->add("/a b.txt", "content");
  NSExtensionItem item;
  item.attachments.push_back(urlProvider("file:///a%20b.txt"));
  share({item});
  EXPECT_THAT(platform.workspace->requests(),
              ElementsAre(Request{
                  {"korvane://compose?attachment_0=%2Fcontainer%2FSharedData%2FShare%2Fa%20b.txt"},
                  "it.drelk.korvane",
                  131072}));
}

TEST_F(ShareViewControllerTest, EachShareEmptiesTheStagingFolder) {
  platform.files->add("/a.txt", "content");
  NSExtensionItem item;
  item.attachments.push_back(urlProvider("file:///a.txt"));
  share({item});
  EXPECT_TRUE(platform.files->fileExistsAtPath("/container/SharedData/Share/a.txt"));
  share({});
  EXPECT_FALSE(platform.files->fileExistsAtPath("/container/SharedData/Share/a.txt"));
  EXPECT_TRUE(platform.files->directoryExistsAtPath("/container/SharedData/Share"));
}

TEST_F(ShareViewControllerTest, SendCompletesWithOneEmptyItem) {
  ShareViewController controller;
  context = std::make_shared<FakeContext>();
  controller.setExtensionContext(context);
  controller.send(&controller);
  ASSERT_THAT(context->completed, SizeIs(1));
  ASSERT_THAT(context->completed.front(), SizeIs(1));
  const NSExtensionItem& item = context->completed.front().front();
  EXPECT_FALSE(item.attributedTitle);
  EXPECT_FALSE(item.attributedContentText);
  EXPECT_THAT(item.attachments, IsEmpty());
  EXPECT_FALSE(context->hasCompletion);
  EXPECT_THAT(context->cancelled, IsEmpty());
}

TEST_F(ShareViewControllerTest, CancelIsTheUsersCancel) {
  ShareViewController controller;
  context = std::make_shared<FakeContext>();
  controller.setExtensionContext(context);
  controller.cancel(&controller);
  EXPECT_THAT(context->cancelled, ElementsAre(kCancelled));
  EXPECT_THAT(context->completed, IsEmpty());
}

TEST_F(ShareViewControllerTest, WithoutARequestThereIsNothingToCancelOrSend) {
  ShareViewController controller;
  controller.send(nullptr);
  controller.cancel(nullptr);
  controller.loadView();
  platform.waitUntilIdle();
  EXPECT_THAT(platform.workspace->requests(), SizeIs(1));  // an empty message
}

TEST_F(ShareViewControllerTest, TheNibHasTheClassName) {
  EXPECT_EQ(ShareViewController().nibName(), "ShareViewController");
}

}  // namespace
}  // namespace korvane
