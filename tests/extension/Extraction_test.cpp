#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <set>

#include "extension/ExtensionUtilities.h"
#include "platform/NSException.h"
#include "tests/support/FakeShare.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using testing::FakeContext;
using testing::FakeProvider;
using testing::imageProvider;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;
using testing::urlProvider;

constexpr double kPass = 0.10000000149011612;
const NSError kError{NSPOSIXErrorDomain, 2, "No such file or directory"};

struct ExtractionTest : ::testing::Test {
  testing::SharePlatform platform;

  /// What one share gives: the message as the completion got it.
  std::shared_ptr<ExtensionMessage> share(std::vector<NSExtensionItem> items) {
    return shareContext(std::make_shared<FakeContext>(std::move(items)));
  }
  std::shared_ptr<ExtensionMessage> shareContext(std::shared_ptr<NSExtensionContext> context) {
    std::vector<std::shared_ptr<ExtensionMessage>> messages;
    std::optional<NSError> reported;
    ExtensionUtilities::GetItemForExtension(
        std::move(context), "Share",
        [&](const std::shared_ptr<ExtensionMessage>& message, const std::optional<NSError>& error) {
          messages.push_back(message);
          reported = error;
        });
    platform.waitUntilIdle();
    EXPECT_THAT(messages, SizeIs(1));
    EXPECT_FALSE(reported);
    return messages.empty() ? nullptr : messages.front();
  }
  static NSExtensionItem item(std::vector<std::shared_ptr<NSItemProvider>> attachments,
                              std::optional<std::string> title = std::nullopt,
                              std::optional<std::string> text = std::nullopt) {
    NSExtensionItem item;
    if (title) item.attributedTitle = NSAttributedString(*title);
    if (text) item.attributedContentText = NSAttributedString(*text);
    item.attachments = std::move(attachments);
    return item;
  }
  static std::string htmlOf(const std::string& text) {
    const NSAttributedString styled(text);
    const NSData data = styled.dataFromRange(0, styled.length(), NSDocumentType::html).value();
    return {data.begin(), data.end()};
  }
  static std::string anchor(const std::string& url) {
    return "<a href=\"" + url + "\">" + url + "</a>";
  }
  std::string staged(const std::string& path) const {
    const auto files = platform.files->files();
    const auto found = files.find(path);
    return found == files.end() ? "(missing)"
                                : std::string(found->second.begin(), found->second.end());
  }
  std::size_t passes() const { return platform.clock->sleeps().size(); }
};

const std::string kStaging = "/container/SharedData/Share/";

TEST_F(ExtractionTest, NothingSharedSleepsOnceAndGivesAnEmptyMessage) {
  for (const auto& items : {std::vector<NSExtensionItem>{}, std::vector{item({})}}) {
    platform.clock = std::make_shared<testing::FakeClock>();
    platform.services.clock = platform.clock;
    platform.install();
    const auto message = share(items);
    EXPECT_THAT(platform.clock->sleeps(), ElementsAre(kPass));
    EXPECT_EQ(message->htmlBody(), "");
    EXPECT_EQ(message->plainBody(), "");
    EXPECT_TRUE(message->subject().isAbsent());
    EXPECT_THAT(message->attachments().value(), IsEmpty());
  }
}

TEST_F(ExtractionTest, ANullContextHasNoItems) {
  EXPECT_EQ(shareContext(nullptr)->htmlBody(), "");
  EXPECT_EQ(passes(), 1U);
}

TEST_F(ExtractionTest, ReturnsBeforeTheJobRuns) {
  std::promise<void> go;
  const auto caller = std::this_thread::get_id();
  auto context = std::make_shared<FakeContext>();
  std::thread::id jobThread;
  context->onInputItems = [&] {
    jobThread = std::this_thread::get_id();
    go.get_future().wait();
  };
  std::thread::id completionThread;
  ExtensionUtilities::GetItemForExtension(context, "Share", [&](const auto&, const auto&) {
    completionThread = std::this_thread::get_id();
  });
  go.set_value();  // a job on this thread would have waited for ever
  platform.waitUntilIdle();
  EXPECT_NE(jobThread, caller);
  EXPECT_EQ(completionThread, jobThread);
}

TEST_F(ExtractionTest, TheJobRunsAtBackgroundPriority) {
  struct Queue : DispatchQueue {
    void async(long priority, std::function<void()> job) override {
      priorities.push_back(priority);
      job();
    }
    std::vector<long> priorities;
  };
  const auto queue = std::make_shared<Queue>();
  platform.services.queue = queue;
  platform.install();
  share({});
  EXPECT_THAT(queue->priorities, ElementsAre(-32768));
}

TEST_F(ExtractionTest, TextBecomesAnHtmlDocumentAndABreak) {
  const auto message = share({item({}, std::nullopt, "One & two"), item({}, "title", "Three")});
  EXPECT_EQ(message->htmlBody(), htmlOf("One & two") + "<br/>" + htmlOf("Three") + "<br/>");
  EXPECT_TRUE(message->subject().isAbsent());
  EXPECT_EQ(passes(), 1U);
}

TEST_F(ExtractionTest, AnEmptyTextAddsNothing) {
  EXPECT_EQ(share({item({}, std::nullopt, "")})->htmlBody(), "");
}

TEST_F(ExtractionTest, ATextThatGivesNoHtmlIsLeftOutWithALine) {
  struct BadReader : HTMLReader {
    std::optional<HTMLText> read(const NSData&, std::string_view) override {
      return HTMLText{"x", "\xFF"};
    }
  };
  platform.services.html = std::make_shared<BadReader>();
  platform.install();
  NSExtensionItem bad = item({urlProvider("https://a.example/")});
  bad.attributedContentText = NSAttributedString::initWithHTML({'x'}).value();
  EXPECT_EQ(share({bad})->htmlBody(), anchor("https://a.example/"));
  EXPECT_THAT(platform.log->lines(),
              ElementsAre("[***ERROR***] GetItemForExtension text cannot be converted to HTML"));
}

TEST_F(ExtractionTest, AWebLinkBecomesSubjectAndAnchor) {
  const auto message =
      share({item({urlProvider("https://a.example/p?x=1&y=%22")}, "A page", "Look")});
  EXPECT_EQ(message->subject(), Value("A page"));
  EXPECT_EQ(message->htmlBody(),
            htmlOf("Look") + "<br/>" + anchor("https://a.example/p?x=1&y=%22"));
  EXPECT_THAT(message->attachments().value(), IsEmpty());
  EXPECT_THAT(platform.log->lines(), IsEmpty());
}

TEST_F(ExtractionTest, TwoLinksStandSideBySideAndTheLastTitleWins) {
  const auto message = share({item({urlProvider("https://a.example")}, "A"),
                              item({urlProvider("https://b.example")}, "B")});
  EXPECT_EQ(message->htmlBody(), anchor("https://a.example") + anchor("https://b.example"));
  EXPECT_EQ(message->subject(), Value("B"));
}

TEST_F(ExtractionTest, ALastLinkWithoutTitleTakesTheSubjectAway) {
  EXPECT_TRUE(share({item({urlProvider("https://a.example")}, "A"),
                     item({urlProvider("https://b.example")})})
                  ->subject()
                  .isAbsent());
  EXPECT_EQ(share({item({urlProvider("https://a.example")}, "")})->subject(), Value(""));
}

TEST_F(ExtractionTest, AFileIsStagedAndALinkBesideItIsAnAnchor) {
  platform.files->add("/home/me/a b;c.txt", "content");
  const auto message = share(
      {item({urlProvider("file:///home/me/a%20b;c.txt"), urlProvider("https://a.example")}, "T")});
  EXPECT_THAT(message->attachments().value(), ElementsAre(Value(kStaging + "a b;c.txt")));
  EXPECT_EQ(staged(kStaging + "a b;c.txt"), "content");
  EXPECT_EQ(message->subject(), Value("T"));
  EXPECT_EQ(message->htmlBody(), anchor("https://a.example"));
}

TEST_F(ExtractionTest, AFileAloneChangesNeitherSubjectNorBody) {
  platform.files->add("/f", "content");
  const auto message = share({item({urlProvider("file:///f"), urlProvider("file:///f")}, "T")});
  EXPECT_THAT(message->attachments().value(),
              ElementsAre(Value(kStaging + "f"), Value(kStaging + "f_1")));
  EXPECT_TRUE(message->subject().isAbsent());
  EXPECT_EQ(message->htmlBody(), "");
}

TEST_F(ExtractionTest, AFileThatCannotBeCopiedIsLoggedAndLeftOut) {
  platform.files->add("/f", "content");
  const auto message = share({item({urlProvider("file:///gone"), urlProvider("file:///f")})});
  EXPECT_THAT(message->attachments().value(), ElementsAre(Value(kStaging + "f")));
  EXPECT_THAT(platform.log->lines(),
              ElementsAre(StartsWith("[***ERROR***] Error writing file shareFiles ")));
  EXPECT_EQ(passes(), 1U);
}

TEST_F(ExtractionTest, ImagesAreStagedAsPng) {
  const auto image = NSImage::initWithData({'p', 'i', 'c', 't', 'u', 'r', 'e', ' ', 'B'}).value();
  const auto message = share({item(
      {imageProvider("picture A"), std::make_shared<FakeProvider>(kUTTypeImage, image)}, "T")});
  EXPECT_THAT(message->attachments().value(),
              ElementsAre(Value(kStaging + "image.png"), Value(kStaging + "image_1.png")));
  EXPECT_EQ(staged(kStaging + "image.png"), "PNG A");
  EXPECT_EQ(staged(kStaging + "image_1.png"), "PNG B");
  EXPECT_TRUE(message->subject().isAbsent());
}

TEST_F(ExtractionTest, AnImageThatCannotBeDecodedIsLoggedLeftOutAndCounted) {
  const auto message = share({item({imageProvider("no such thing"), imageProvider("picture A"),
                                    std::make_shared<FakeProvider>(kUTTypeImage, Value()),
                                    std::make_shared<FakeProvider>(kUTTypeImage, "text")})});
  EXPECT_THAT(message->attachments().value(), ElementsAre(Value(kStaging + "image.png")));
  EXPECT_THAT(platform.log->lines(),
              ElementsAre(StartsWith("[***ERROR***] Error writing file shareDatas "),
                          StartsWith("[***ERROR***] Error writing file shareDatas "),
                          StartsWith("[***ERROR***] Error writing file shareDatas ")));
  EXPECT_EQ(passes(), 1U);
}

TEST_F(ExtractionTest, AUrlIsAskedForBeforeAnImageAndNothingElse) {
  const auto url = urlProvider("https://a.example");
  const auto image = imageProvider("picture A");
  const auto text = std::make_shared<FakeProvider>("public.plain-text", "text");
  platform.files->add("/f", "content");
  const auto file = std::make_shared<FakeProvider>(
      "public.file-url", Value(NSURL::URLWithString("file:///f").value()));
  const auto message = share({item({url, image, text, file})});
  EXPECT_THAT(url->asked, ElementsAre("public.url"));
  EXPECT_THAT(url->loaded, ElementsAre("public.url"));
  EXPECT_THAT(image->asked, ElementsAre("public.url", "public.image"));
  EXPECT_THAT(image->loaded, ElementsAre("public.image"));
  EXPECT_THAT(text->asked, ElementsAre("public.url", "public.image"));
  EXPECT_THAT(text->loaded, IsEmpty());
  EXPECT_THAT(file->loaded, ElementsAre("public.url"));
  EXPECT_THAT(message->attachments().value(), SizeIs(2));
}

TEST_F(ExtractionTest, AnUnsupportedTypeWaitsTheWholeBudget) {
  const auto message =
      share({item({std::make_shared<FakeProvider>("public.plain-text", "text")}, "T", "Body")});
  EXPECT_EQ(message->htmlBody(), htmlOf("Body") + "<br/>");
  EXPECT_EQ(platform.clock->sleeps(), std::vector<double>(101, kPass));
}

TEST_F(ExtractionTest, FailedLoadsAreLoggedAndCounted) {
  const auto message = share({item({std::make_shared<FakeProvider>(kUTTypeURL, Value(), kError),
                                    std::make_shared<FakeProvider>(kUTTypeImage, Value(), kError)},
                                   "T")});
  EXPECT_THAT(
      platform.log->lines(),
      ElementsAre("[***ERROR***] GetItemForExtension kUTTypeURL " + kError.description(),
                  "[***ERROR***] GetItemForExtension kUTTypeImage " + kError.description()));
  EXPECT_TRUE(message->subject().isAbsent());
  EXPECT_EQ(passes(), 1U);
}

TEST_F(ExtractionTest, AnItemThatHoldsAUrlInAnotherFormWillDo) {
  const std::string url = "https://a.example/";
  const auto message = share({item({
      std::make_shared<FakeProvider>(kUTTypeURL, Value(url)),
      std::make_shared<FakeProvider>(kUTTypeURL, Value(NSData(url.begin(), url.end()))),
      std::make_shared<FakeProvider>(kUTTypeURL, Value("no url")),
      std::make_shared<FakeProvider>(kUTTypeURL, Value()),
      std::make_shared<FakeProvider>(kUTTypeURL, Value(3)),
  })});
  EXPECT_EQ(message->htmlBody(), anchor(url) + anchor(url));
  const std::string line = "[***ERROR***] GetItemForExtension kUTTypeURL the item is not a URL";
  EXPECT_THAT(platform.log->lines(), ElementsAre(line, line, line));
  EXPECT_EQ(passes(), 1U);
}

/// A provider that breaks its contract.
struct BadProvider : NSItemProvider {
  explicit BadProvider(std::function<void(const LoadHandler&)> behaviour)
      : load(std::move(behaviour)) {}
  bool hasItemConformingToTypeIdentifier(std::string_view type) const override {
    return type == kUTTypeURL;
  }
  void loadItemForTypeIdentifier(std::string_view, LoadHandler handler) override { load(handler); }
  std::function<void(const LoadHandler&)> load;
};

TEST_F(ExtractionTest, AProviderThatThrowsIsLoggedAndCountedOnce) {
  const Value url(NSURL::URLWithString("https://a.example").value());
  const auto message = share({item({
      std::make_shared<BadProvider>([](const auto&) { throw std::runtime_error("broken"); }),
      std::make_shared<BadProvider>([](const auto&) { throw 3; }),
      std::make_shared<BadProvider>([&](const auto& handler) {
        handler(url, std::nullopt);
        throw NSException(NSInvalidArgumentException, "broken later");
      }),
      std::make_shared<BadProvider>([&](const auto& handler) {
        handler(url, std::nullopt);
        handler(url, std::nullopt);
      }),
  })});
  EXPECT_EQ(message->htmlBody(), anchor("https://a.example") + anchor("https://a.example"));
  EXPECT_THAT(platform.log->lines(),
              ElementsAre("[***ERROR***] GetItemForExtension kUTTypeURL broken",
                          "[***ERROR***] GetItemForExtension kUTTypeURL unknown exception"));
  EXPECT_EQ(passes(), 1U);
}

TEST_F(ExtractionTest, WhatAHandlerRaisesNeitherEscapesNorStaysPending) {
  struct ThrowingFiles : testing::MemoryFiles {
    std::optional<NSURL> containerURLForSecurityApplicationGroupIdentifier(
        std::string_view) override {
      throw std::bad_alloc();
    }
  };
  platform.services.fileManager = std::make_shared<ThrowingFiles>();
  platform.install();
  const auto message = share({item(
      {urlProvider("file:///f"), imageProvider("picture A"), urlProvider("https://a.example")})});
  EXPECT_EQ(message->htmlBody(), anchor("https://a.example"));
  EXPECT_THAT(platform.log->lines(), SizeIs(2));
  EXPECT_EQ(passes(), 1U);
}

TEST_F(ExtractionTest, AHandlerThatComesLateIsWaitedFor) {
  std::function<void()> call;
  const auto late = urlProvider("https://a.example");
  late->deliver = [&](std::function<void()> deliver) { call = std::move(deliver); };
  platform.clock->onSleep = [&] {
    if (passes() == 7) call();
  };
  EXPECT_EQ(share({item({late}, "T")})->htmlBody(), anchor("https://a.example"));
  EXPECT_EQ(passes(), 7U);
}

TEST_F(ExtractionTest, AHandlerInTheLastPassStillCounts) {
  std::function<void()> call;
  const auto late = urlProvider("https://a.example");
  late->deliver = [&](std::function<void()> deliver) { call = std::move(deliver); };
  platform.clock->onSleep = [&] {
    if (passes() == 101) call();
  };
  EXPECT_EQ(share({item({late}, "T")})->subject(), Value("T"));
  EXPECT_EQ(passes(), 101U);
}

TEST_F(ExtractionTest, AHandlerThatOutlivesTheBudgetIsHarmless) {
  std::function<void()> call;
  const auto late = urlProvider("https://a.example");
  late->deliver = [&](std::function<void()> deliver) { call = std::move(deliver); };
  const auto message = share({item({late}, "T")});
  EXPECT_EQ(passes(), 101U);
  EXPECT_EQ(message->htmlBody(), "");
  call();
  EXPECT_EQ(message->htmlBody(), anchor("https://a.example"));  // too late for the caller
  EXPECT_EQ(message->subject(), Value("T"));
}

TEST_F(ExtractionTest, ALinkIsHandledWhileTheMessageIsLocked) {
  // The link's updates take no lock of the record; the attachment's does.
  const auto link = urlProvider("https://a.example");
  const auto file = urlProvider("file:///f");
  platform.files->add("/f", "content");
  std::function<void()> linkCall;
  std::function<void()> fileCall;
  link->deliver = [&](std::function<void()> call) { linkCall = std::move(call); };
  file->deliver = [&](std::function<void()> call) { fileCall = std::move(call); };
  const auto message = share({item({link, file}, "T")});

  auto lock = message->synchronized();
  std::thread(linkCall).join();  // would wait for ever if it took the lock
  EXPECT_EQ(message->subject(), Value("T"));
  std::thread waiting(fileCall);
  EXPECT_THAT(message->attachments().value(), IsEmpty());
  lock.unlock();
  waiting.join();
  EXPECT_THAT(message->attachments().value(), SizeIs(1));
}

TEST_F(ExtractionTest, ACompletionThatThrowsDoesNotEndTheProcess) {
  ExtensionUtilities::GetItemForExtension(
      std::make_shared<FakeContext>(), "Share",
      [](const auto&, const auto&) { throw NSException(NSRangeException, "text of a message"); });
  platform.waitUntilIdle();
  EXPECT_THAT(platform.log->lines(),
              ElementsAre("[***ERROR***] dispatch_async job ended by NSRangeException"));
}

TEST_F(ExtractionTest, TheRealClockMakesItATenthOfASecond) {
  platform.services.clock = std::make_shared<SystemClock>();
  platform.install();
  const auto start = std::chrono::steady_clock::now();
  share({});
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
}

TEST_F(ExtractionTest, NothingIsLostInParallel) {
  constexpr int kEach = 200;
  constexpr int kRounds = 10;
  for (int i = 0; i < kEach; ++i) platform.files->add("/file" + std::to_string(i), "x");
  for (int round = 0; round < kRounds; ++round) {
    ThreadPool loaders(4);
    std::vector<NSExtensionItem> items;
    for (int i = 0; i < kEach; ++i) {
      const std::string number = std::to_string(i);
      const auto link = urlProvider("https://a.example/" + number);
      const auto file = urlProvider("file:///file" + number);
      const auto image = imageProvider("picture " + number);
      for (const auto& provider : {link, file, image}) {
        provider->deliver = [&loaders](std::function<void()> call) {
          loaders.async(DISPATCH_QUEUE_PRIORITY_DEFAULT, std::move(call));
        };
      }
      items.push_back(item({link, file, image}, "title " + number, "text " + number + "."));
    }
    // The first pass lasts until all is loaded.
    platform.clock->onSleep = [&loaders] { loaders.waitUntilIdle(); };
    ExtensionUtilities::ShareInit("Share");
    const auto message = share(items);
    platform.clock->onSleep = nullptr;

    const std::string body = message->htmlBody().value();
    std::size_t length = 0;
    for (int i = 0; i < kEach; ++i) {
      const std::string link = anchor("https://a.example/" + std::to_string(i));
      const std::string text = htmlOf("text " + std::to_string(i) + ".") + "<br/>";
      EXPECT_NE(body.find(link), std::string::npos) << i;
      EXPECT_NE(body.find(text), std::string::npos) << i;
      length += link.size() + text.size();
    }
    EXPECT_EQ(body.size(), length);
    std::set<std::string> paths;
    const List attachments = message->attachments().value();
    for (const Value& path : attachments) paths.emplace(path.text());
    EXPECT_THAT(attachments, SizeIs(2 * kEach));
    EXPECT_THAT(paths, SizeIs(2 * kEach));
    std::set<std::string> pictures;
    for (const std::string& path : paths) pictures.insert(staged(path));
    EXPECT_THAT(pictures, SizeIs(kEach + 1));  // each picture once, and the files' "x"
    EXPECT_TRUE(message->subject().text().starts_with("title "));
  }
}

TEST_F(ExtractionTest, ANullProviderIsNotWaitedFor) {
  const auto message = share({item({nullptr, urlProvider("https://a.example/"), nullptr})});
  EXPECT_EQ(message->htmlBody(), "<a href=\"https://a.example/\">https://a.example/</a>");
  EXPECT_THAT(platform.clock->sleeps(), SizeIs(1));
}

}  // namespace
}  // namespace korvane
