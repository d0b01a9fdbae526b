#include "host/ExtensionHost.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <new>

#include "linux/detail/FileManager.h"
#include "model/ExtensionMessage.h"
#include "tests/support/FakeShare.h"
#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using Content = ShareRequest::Content;

/// A gate that threads wait at until it is opened.
class Gate {
 public:
  void open() {
    std::lock_guard lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }
  void wait() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return open_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_ = false;
};

class ExtensionHost : public ::testing::Test {
 protected:
  std::shared_ptr<ShareContext> context(std::vector<ShareRequest::Attachment> attachments,
                                        std::vector<Content> contents = {}) {
    ShareRequest request;
    request.items.resize(1);
    request.items[0].attachments = std::move(attachments);
    request.items[0].contents = std::move(contents);
    return std::make_shared<ShareContext>(request, localPath);
  }
  ShareOutcome run(const std::shared_ptr<ShareContext>& context, HostMode mode = HostMode::open) {
    return runShareExtension(context, platform.services, mode);
  }

  /// Passes of the real clock, so that the loads can end within them.
  void letLoadsTakeTime() { platform.services.clock = std::make_shared<SystemClock>(); }

  testing::SharePlatform platform;
  std::function<std::optional<std::string>(const std::string&)> localPath = [](const std::string&) {
    return std::nullopt;
  };
};

TEST_F(ExtensionHost, EndsAlsoWhenTheJobIsEndedByAnException) {
  class NoMemory : public NSWorkspace {
   public:
    bool openURLs(const std::vector<NSURL>&, std::string_view, unsigned) override {
      throw std::bad_alloc();
    }
  };
  platform.services.workspace = std::make_shared<NoMemory>();
  const ShareOutcome outcome = run(context({}));
  EXPECT_FALSE(outcome.opening);
}

TEST_F(ExtensionHost, HandsOverWhatWasShared) {
  letLoadsTakeTime();
  platform.files->add("/docs/a.txt", "A");
  const auto shared =
      context({ShareRequest::Link{"https://a.example/"}, ShareRequest::File{"/docs/a.txt"},
               ShareRequest::ImageData{{'p', 'i', 'c', 't', 'u', 'r', 'e', ' ', '1'}}},
              {{Content::Kind::text, "hello"}});
  const ShareOutcome outcome = run(shared);
  ASSERT_TRUE(outcome.opening);
  EXPECT_TRUE(outcome.opening->accepted);
  EXPECT_EQ(outcome.opening->application, "it.drelk.korvane");
  EXPECT_EQ(outcome.opening->options, 131072U);
  EXPECT_EQ(outcome.attachments, 3U);
  EXPECT_EQ(outcome.missing, 0U);
  EXPECT_FALSE(outcome.empty);
  EXPECT_EQ(shared->cancelError()->code, NSUserCancelledError);
  ASSERT_THAT(platform.workspace->requests(), SizeIs(1));
  const auto message = ExtensionMessage::ExtensionMessageWithUrl(outcome.opening->urls.at(0));
  EXPECT_THAT(*message->htmlBody(), HasSubstr("hello"));
  EXPECT_THAT(*message->htmlBody(), HasSubstr("<a href=\"https://a.example/\">"));
  EXPECT_THAT(*message->attachments(), SizeIs(2));
}

TEST_F(ExtensionHost, EverythingHappensInItsOrder) {
  std::mutex mutex;
  std::vector<std::string> events;
  const auto note = [&](std::string event) {
    std::lock_guard lock(mutex);
    events.push_back(std::move(event));
  };
  class Files : public testing::MemoryFiles {
   public:
    bool createDirectoryAtURL(const NSURL& url, bool intermediate,
                              std::optional<NSError>& error) override {
      onReset();
      return MemoryFiles::createDirectoryAtURL(url, intermediate, error);
    }
    std::function<void()> onReset;
  };
  class Context : public ShareContext {
   public:
    using ShareContext::ShareContext;
    const std::vector<NSExtensionItem>& inputItems() const override {
      note("extraction");
      return ShareContext::inputItems();
    }
    void cancelRequestWithError(const NSError& error) override {
      note("cancel");
      ShareContext::cancelRequestWithError(error);
    }
    std::function<void(std::string)> note;
  };
  const auto files = std::make_shared<Files>();
  files->onReset = [&] { note("reset"); };
  platform.services.fileManager = files;
  platform.bundle->onLoadNib = [&](std::string_view name) { note("load " + std::string(name)); };
  platform.clock->onSleep = [&] { note("pass"); };
  const auto empty = std::make_shared<Context>(ShareRequest(), localPath);
  empty->note = note;
  const ShareOutcome outcome = run(empty);
  EXPECT_THAT(events,
              ElementsAre("reset", "load ShareViewController", "cancel", "extraction", "pass"));
  ASSERT_TRUE(outcome.opening);  // also when nothing was shared
  EXPECT_EQ(outcome.opening->urls.at(0).absoluteString(), "korvane://compose?");
  EXPECT_FALSE(outcome.empty);  // nothing was lost
}

TEST_F(ExtensionHost, ARefusalIsKnown) {
  platform.workspace->answer = false;
  const ShareOutcome outcome = run(context({ShareRequest::Link{"a:b"}}));
  ASSERT_TRUE(outcome.opening);
  EXPECT_FALSE(outcome.opening->accepted);
}

TEST_F(ExtensionHost, ADryRunOpensNothing) {
  platform.workspace->answer = false;
  const ShareOutcome outcome = run(context({ShareRequest::Link{"a:b"}}), HostMode::dryRun);
  EXPECT_TRUE(outcome.opening->accepted);
  EXPECT_THAT(platform.workspace->requests(), SizeIs(0));
}

TEST_F(ExtensionHost, CountsWhatIsMissing) {
  letLoadsTakeTime();
  platform.files->add("/docs/a.txt", "A");
  const ShareOutcome outcome =
      run(context({ShareRequest::File{"/docs/a.txt"}, ShareRequest::File{"/docs/none"},
                   ShareRequest::ImageData{{'x'}}, ShareRequest::ImageFile{"/none"},
                   ShareRequest::Link{"file://elsewhere.example/x"}, ShareRequest::Link{"a:b"}}));
  EXPECT_EQ(outcome.attachments, 6U);
  EXPECT_EQ(outcome.missing, 4U);
  EXPECT_FALSE(outcome.empty);
}

TEST_F(ExtensionHost, KnowsWhenNothingMadeIt) {
  const ShareOutcome outcome = run(context({ShareRequest::File{"/docs/none"}}));
  ASSERT_TRUE(outcome.opening);
  EXPECT_TRUE(outcome.empty);
  EXPECT_EQ(outcome.missing, 1U);
}

TEST_F(ExtensionHost, AnUnsupportedTypeWaitsTheWholeBudget) {
  const ShareOutcome outcome = run(context({ShareRequest::TypedText{"public.plain-text", "x"}}));
  EXPECT_THAT(platform.clock->sleeps(), SizeIs(101));
  EXPECT_EQ(outcome.missing, 1U);
  EXPECT_FALSE(outcome.busy);
}

TEST_F(ExtensionHost, ALoadThatOutlastsTheBudgetIsHarmless) {
  Gate gate;
  localPath = [&](const std::string&) {
    gate.wait();
    return std::nullopt;
  };
  auto shared = context({ShareRequest::Link{"sftp://a.example/x"}, ShareRequest::Link{"a:b"}});
  const ShareOutcome outcome = run(shared);
  EXPECT_TRUE(outcome.busy);
  EXPECT_EQ(outcome.missing, 1U);
  EXPECT_FALSE(outcome.empty);
  EXPECT_THAT(platform.clock->sleeps(), SizeIs(101));
  shared.reset();  // the load has all it needs
  gate.open();
  platform.waitUntilIdle();
}

TEST_F(ExtensionHost, AFileHeldUpByAnotherProcessIsHarmless) {
  platform.files->add("/docs/a.txt", "A");
  Gate gate;
  class Files : public testing::MemoryFiles {
   public:
    bool copyItemAtPath(std::string_view from, std::string_view to,
                        std::optional<NSError>& error) override {
      gate->wait();
      return MemoryFiles::copyItemAtPath(from, to, error);
    }
    Gate* gate = nullptr;
  };
  const auto files = std::make_shared<Files>();
  files->gate = &gate;
  files->add("/docs/a.txt", "A");
  platform.services.fileManager = files;
  const ShareOutcome outcome =
      run(context({ShareRequest::File{"/docs/a.txt"}, ShareRequest::File{"/docs/a.txt"}}));
  EXPECT_TRUE(outcome.busy);
  EXPECT_TRUE(outcome.empty);
  gate.open();
  platform.waitUntilIdle();
}

TEST_F(ExtensionHost, NothingIsLostInALargeShare) {
  std::vector<ShareRequest::Attachment> attachments;
  for (int i = 0; i < 200; ++i) {
    const std::string name = std::to_string(i);
    platform.files->add("/docs/" + name, name);
    attachments.emplace_back(ShareRequest::Link{"https://a.example/" + name});
    attachments.emplace_back(ShareRequest::File{"/docs/" + name});
    const std::string picture = "picture " + name;
    attachments.emplace_back(ShareRequest::ImageData{{picture.begin(), picture.end()}});
  }
  letLoadsTakeTime();
  const ShareOutcome outcome = run(context(attachments));
  EXPECT_EQ(outcome.missing, 0U);
  const auto message = ExtensionMessage::ExtensionMessageWithUrl(outcome.opening->urls.at(0));
  EXPECT_THAT(*message->attachments(), SizeIs(400));
  std::size_t at = 0;
  for (int i = 0; i < 200; ++i) {  // in the order given
    at = message->htmlBody()->find("\"https://a.example/" + std::to_string(i) + "\"", at);
    ASSERT_NE(at, std::string::npos) << i;
  }
}

TEST(AttachmentCountOfCommand, CountsTheKeys) {
  const auto count = [](const char* url) {
    return attachmentCountOfCommand(NSURL::URLWithString(url).value());
  };
  EXPECT_EQ(count("korvane://compose?"), 0U);
  EXPECT_EQ(count("korvane://compose"), 0U);
  EXPECT_EQ(count("korvane://compose?attachment_0="), 1U);
  EXPECT_EQ(count("korvane://compose?subject=x&attachment_0=a&attachment_1=b"), 2U);
  EXPECT_EQ(count("korvane://compose?subject=attachment_0&to=%26attachment_1"), 0U);
}

TEST_F(ExtensionHost, OnlyUnfinishedAttachmentsAreRemoved) {
  const testing::TemporaryFolder folder;
  const FileManagerOptions options{ContainerRoot(folder.path("C"))};
  platform.services.fileManager = std::make_shared<FileManager>(options);
  platform.install();
  removeUnfinishedAttachments();  // there is no folder yet
  folder.file("C/SharedData/Share/.korvane-0123456789abcdef", "half");
  folder.file("C/SharedData/Share/.korvane-fedcba9876543210/deep/file", "half");
  folder.file("C/SharedData/Share/.korvane-notes", "whole");
  folder.file("C/SharedData/Share/a", "whole");
  removeUnfinishedAttachments();
  EXPECT_THAT(FileManager(options).contentsOfDirectoryAtPath(folder.path("C/SharedData/Share")),
              ::testing::UnorderedElementsAre(".korvane-notes", "a"));
}

}  // namespace
}  // namespace korvane
