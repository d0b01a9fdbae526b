#include "host/ShareRun.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <new>
#include <thread>

#include "host/FetchedFiles.h"
#include "host/WatchedServices.h"
#include "model/ExtensionMessage.h"
#include "tests/support/FakeShare.h"
#include "tests/support/Gate.h"
#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using testing::Gate;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using Content = ShareRequest::Content;

class ShareRun : public ::testing::Test {
 protected:
  ShareOutcome run(std::vector<ShareRequest::Attachment> attachments,
                   std::vector<Content> contents = {}, std::optional<std::string> title = {}) {
    ShareRequest request;
    request.items.resize(1);
    request.items[0].title = std::move(title);
    request.items[0].attachments = std::move(attachments);
    request.items[0].contents = std::move(contents);
    return runRequest(std::move(request));
  }
  ShareOutcome runRequest(ShareRequest request) {
    Platform::install(watchedServices(platform.services));
    return runShare(std::move(request), options);
  }

  /// Passes of the real clock, so that the loads can end within them.
  void letLoadsTakeTime() { platform.services.clock = std::make_shared<SystemClock>(); }

  std::shared_ptr<ExtensionMessage> message() {
    return ExtensionMessage::ExtensionMessageWithUrl(
        NSURL::URLWithString(platform.workspace->requests().at(0).urls.at(0)).value());
  }

  testing::SharePlatform platform;
  ShareOptions options;
};

TEST_F(ShareRun, EndsAlsoWhenTheJobIsEndedByAnException) {
  class NoMemory : public NSWorkspace {
   public:
    bool openURLs(const std::vector<NSURL>&, std::string_view, unsigned) override {
      throw std::bad_alloc();
    }
  };
  platform.services.workspace = std::make_shared<NoMemory>();
  const ShareOutcome outcome = run({});
  EXPECT_EQ(outcome.status, ShareOutcome::Status::notOpened);
  EXPECT_EQ(outcome.reason, "there is not enough memory");
}

TEST_F(ShareRun, HandsOverWhatWasShared) {
  letLoadsTakeTime();
  platform.files->add("/docs/a.txt", "A");
  const ShareOutcome outcome =
      run({ShareRequest::Link{"https://a.example/"}, ShareRequest::File{"/docs/a.txt"},
           ShareRequest::ImageData{{'p', 'i', 'c', 't', 'u', 'r', 'e', ' ', '1'}}},
          {{Content::Kind::text, "hello"}}, "T");
  EXPECT_EQ(outcome.status, ShareOutcome::Status::opened);
  EXPECT_EQ(outcome.application, "it.drelk.korvane");
  EXPECT_EQ(outcome.reason, "");
  EXPECT_THAT(outcome.missing, SizeIs(0));
  EXPECT_FALSE(outcome.empty);
  ASSERT_THAT(platform.workspace->requests(), SizeIs(1));
  EXPECT_EQ(platform.workspace->requests()[0].application, "it.drelk.korvane");
  EXPECT_EQ(platform.workspace->requests()[0].options, 131072U);
  EXPECT_EQ(message()->subject(), Value("T"));
  EXPECT_THAT(*message()->htmlBody(), HasSubstr("hello"));
  EXPECT_THAT(*message()->htmlBody(), HasSubstr("<a href=\"https://a.example/\">"));
  EXPECT_THAT(*message()->attachments(), SizeIs(2));
}

TEST_F(ShareRun, EverythingHappensInItsOrder) {
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
  const auto files = std::make_shared<Files>();
  files->onReset = [&] { note("reset"); };
  platform.services.fileManager = files;
  platform.bundle->onLoadNib = [&](std::string_view name) { note("load " + std::string(name)); };
  platform.clock->onSleep = [&] { note("pass"); };
  const ShareOutcome outcome = runRequest(ShareRequest());
  EXPECT_THAT(events, ElementsAre("reset", "load ShareViewController", "pass"));
  EXPECT_EQ(outcome.status, ShareOutcome::Status::opened);  // also when nothing was shared
  EXPECT_THAT(platform.workspace->requests().at(0).urls, ElementsAre("korvane://compose?"));
  EXPECT_FALSE(outcome.empty);  // nothing was lost
}

TEST_F(ShareRun, ARefusalIsKnown) {
  letLoadsTakeTime();
  platform.workspace->answer = false;
  platform.files->add("/docs/a.txt", "A");
  const ShareOutcome outcome = run(
      {ShareRequest::Link{"a:b"}, ShareRequest::File{"/none"}, ShareRequest::File{"/docs/a.txt"}},
      {{Content::Kind::text, "hello"}});
  EXPECT_EQ(outcome.status, ShareOutcome::Status::notOpened);
  EXPECT_EQ(outcome.reason, "the application could not be opened");
  EXPECT_EQ(outcome.application, "it.drelk.korvane");
  EXPECT_FALSE(outcome.empty);
  // Nothing of it arrived.
  const std::string why = outcome.reason;
  EXPECT_THAT(
      outcome.missing,
      ElementsAre(MissingThing{"/none", "No such file or directory"}, MissingThing{"a:b", why},
                  MissingThing{"/docs/a.txt", why}, MissingThing{"the accompanying text", why}));
}

TEST_F(ShareRun, TheDesktopsReasonIsKnown) {
  class Refusing : public NSWorkspace {
   public:
    bool openURLs(const std::vector<NSURL>&, std::string_view, unsigned) override {
      RunScope::current()->launchFailed("nobody is at home");
      return false;
    }
  };
  platform.services.workspace = std::make_shared<Refusing>();
  EXPECT_EQ(run({ShareRequest::Link{"a:b"}}).reason, "nobody is at home");
}

TEST_F(ShareRun, ADryRunOpensNothing) {
  platform.workspace->answer = false;
  std::vector<std::string> seen;
  options.hooks.dryRun = [&](const std::vector<NSURL>& urls, std::string_view application,
                             unsigned) {
    seen = {urls.at(0).absoluteString(), std::string(application)};
  };
  const ShareOutcome outcome = run({ShareRequest::Link{"a:b"}});
  EXPECT_EQ(outcome.status, ShareOutcome::Status::opened);
  EXPECT_THAT(platform.workspace->requests(), SizeIs(0));
  EXPECT_THAT(seen, ElementsAre(HasSubstr("korvane://compose?htmlBody="), "it.drelk.korvane"));
}

TEST_F(ShareRun, WhatIsMissingIsKnownWithItsReason) {
  letLoadsTakeTime();
  platform.files->add("/docs/a.txt", "A");
  const ShareOutcome outcome =
      run({ShareRequest::File{"/docs/a.txt"}, ShareRequest::File{"/docs/none"},
           ShareRequest::ImageData{{'x'}}, ShareRequest::ImageFile{"/none"},
           ShareRequest::Link{"file://elsewhere.example/x"}, ShareRequest::Link{"a:b"},
           ShareRequest::File{"/"}});
  EXPECT_THAT(outcome.missing,
              ElementsAre(MissingThing{"/docs/none", "No such file or directory"},
                          MissingThing{"picture 1", "it is not a picture that can be read"},
                          MissingThing{"/none", "No such file or directory"},
                          MissingThing{"file://elsewhere.example/x",
                                       "the URL does not name a file of this machine"},
                          MissingThing{"/", "the root folder has no name of its own"}));
  EXPECT_FALSE(outcome.empty);
}

TEST_F(ShareRun, WithoutAContainerAttachmentsAreMissing) {
  letLoadsTakeTime();
  class NoContainer : public testing::MemoryFiles {
   public:
    std::optional<NSURL> containerURLForSecurityApplicationGroupIdentifier(
        std::string_view) override {
      return std::nullopt;
    }
  };
  platform.services.fileManager = std::make_shared<NoContainer>();
  const ShareOutcome outcome = run({ShareRequest::File{"/docs/a"}, ShareRequest::Link{"a:b"}});
  EXPECT_THAT(outcome.missing,
              ElementsAre(MissingThing{"/docs/a", "there is no container for attachments"}));
}

TEST_F(ShareRun, WhatCouldNotBeReadIsMissing) {
  ShareRequest request;
  request.unread = {{"standard input", "Is a directory"}};
  const ShareOutcome outcome = runRequest(std::move(request));
  EXPECT_THAT(outcome.missing, ElementsAre(MissingThing{"standard input", "Is a directory"}));
  EXPECT_TRUE(outcome.empty);
}

TEST_F(ShareRun, ATitleWithoutALinkIsNotTheSubject) {
  letLoadsTakeTime();
  platform.files->add("/docs/a.txt", "A");
  const ShareOutcome outcome = run({ShareRequest::File{"/docs/a.txt"}}, {}, "T");
  EXPECT_THAT(outcome.missing,
              ElementsAre(MissingThing{"the title \"T\"", "it is shared with a link only"}));
  EXPECT_FALSE(outcome.empty);
  EXPECT_TRUE(run({}, {}, "T").empty);
  EXPECT_THAT(run({}, {}, "").missing, SizeIs(0));
}

TEST_F(ShareRun, KnowsWhenNothingMadeIt) {
  letLoadsTakeTime();
  const ShareOutcome outcome = run({ShareRequest::File{"/docs/none"}});
  EXPECT_EQ(outcome.status, ShareOutcome::Status::opened);
  EXPECT_TRUE(outcome.empty);
  EXPECT_THAT(outcome.missing, SizeIs(1));
}

TEST_F(ShareRun, ATypeThatIsNeverTakenIsToldAtOnceAndWaitsTheWholeBudget) {
  std::size_t sleepsBefore = 1;
  std::vector<std::string> told;
  options.hooks.tell = [&](const std::string& line) {
    told.push_back(line);
    sleepsBefore = platform.clock->sleeps().size();
  };
  const ShareOutcome outcome = run({ShareRequest::TypedText{"public.plain-text", "x"}});
  EXPECT_THAT(platform.clock->sleeps(), SizeIs(101));
  EXPECT_EQ(sleepsBefore, 0U);
  const MissingThing missing{"an attachment of the type public.plain-text",
                             "only links, files and pictures are taken"};
  EXPECT_THAT(told, ElementsAre(lineOf(missing)));
  EXPECT_THAT(outcome.missing, ElementsAre(missing));
  EXPECT_TRUE(outcome.missing.at(0).told);
  EXPECT_FALSE(outcome.busy);
}

TEST_F(ShareRun, ALoadThatOutlastsTheBudgetIsHarmless) {
  Gate gate;
  class Images : public testing::FakeImages {
   public:
    std::shared_ptr<const Bitmap> decode(const NSData& encoded, std::string* failure) override {
      gate->wait();
      return FakeImages::decode(encoded, failure);
    }
    Gate* gate = nullptr;
  };
  const auto images = std::make_shared<Images>();
  images->gate = &gate;
  platform.services.images = images;
  const ShareOutcome outcome =
      run({ShareRequest::ImageData{{'p', 'i', 'c', 't', 'u', 'r', 'e', ' ', '1'}},
           ShareRequest::Link{"a:b"}});
  EXPECT_TRUE(outcome.busy);
  EXPECT_THAT(outcome.missing,
              ElementsAre(MissingThing{"picture 1", "it was not ready within ten seconds"}));
  EXPECT_FALSE(outcome.empty);
  EXPECT_THAT(platform.clock->sleeps(), SizeIs(101));
  gate.open();
  platform.waitUntilIdle();
}

TEST_F(ShareRun, ARemoteFileIsFetchedBeforeTheShareBegins) {
  letLoadsTakeTime();
  const testing::TemporaryFolder place;
  options.container = place.path("container");
  std::string fetchedTo;
  bool isBegun = false;
  platform.bundle->onLoadNib = [&](std::string_view) { isBegun = true; };
  options.fetch = [&](const std::string& url, const FetchRules& rules, const FetchStop&) {
    EXPECT_FALSE(isBegun);
    if (url == "smb://a.example/none") throw FetchFailure("there is no such file");
    if (url == "x:y") throw FetchFailure("it is a link", true);
    fetchedTo = rules.folder + "/contract.pdf";
    platform.files->add(fetchedTo, "PDF");
    return fetchedTo;
  };
  const ShareOutcome outcome =
      run({ShareRequest::Link{"sftp://a.example/q1"}, ShareRequest::Link{"smb://a.example/none"},
           ShareRequest::Link{"x:y"}});
  EXPECT_EQ(outcome.status, ShareOutcome::Status::opened);
  EXPECT_THAT(outcome.missing,
              ElementsAre(MissingThing{"smb://a.example/none", "there is no such file"}));
  EXPECT_TRUE(fetchedTo.starts_with(place.path(".korvane-"))) << fetchedTo;
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(fetchedTo).parent_path()));
  ASSERT_THAT(*message()->attachments(), SizeIs(1));
  EXPECT_THAT(message()->attachments()->at(0).description(), ::testing::EndsWith("contract.pdf"));
  EXPECT_THAT(*message()->htmlBody(),
              ::testing::AllOf(HasSubstr("x:y"), ::testing::Not(HasSubstr("smb:")),
                               ::testing::Not(HasSubstr("sftp:"))));
}

TEST_F(ShareRun, WhatIsCancelledWhileItIsFetchedIsNotOpened) {
  const testing::TemporaryFolder place;
  options.container = place.path("container");
  options.hooks.cancellation = std::make_shared<Cancellation>();
  options.fetch = [&](const std::string&, const FetchRules&, const FetchStop& stop) -> std::string {
    options.hooks.cancellation->cancel();
    while (!stop.isStopped()) std::this_thread::yield();
    throw FetchFailure("it was stopped");
  };
  platform.clock->onSleep = [] { std::this_thread::yield(); };
  const ShareOutcome outcome =
      run({ShareRequest::Link{"sftp://a.example/x"}, ShareRequest::Link{"https://a.example/"}},
          {{Content::Kind::text, "hello"}});
  EXPECT_EQ(outcome.status, ShareOutcome::Status::notOpened);
  EXPECT_EQ(outcome.reason, kCancelled);
  EXPECT_THAT(outcome.missing, ElementsAre(MissingThing{"sftp://a.example/x", kCancelled},
                                           MissingThing{"https://a.example/", kCancelled},
                                           MissingThing{"the accompanying text", kCancelled}));
  EXPECT_THAT(platform.workspace->requests(), SizeIs(0));
  EXPECT_TRUE(platform.files->files().empty());
}

TEST_F(ShareRun, AFileThatIsCopiedTooLateIsTakenAwayAgain) {
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
      run({ShareRequest::File{"/docs/a.txt"}, ShareRequest::File{"/docs/a.txt"}});
  EXPECT_TRUE(outcome.busy);
  EXPECT_TRUE(outcome.empty);
  EXPECT_THAT(outcome.missing, SizeIs(2));
  gate.open();
  platform.waitUntilIdle();
  EXPECT_THAT(files->files(), SizeIs(1));
}

// Whatever moment the message is made at, the outcome names exactly what is not in it.
TEST_F(ShareRun, TheOutcomeAndTheMessageAgree) {
  for (int round = 0; round < 20; ++round) {
    std::vector<ShareRequest::Attachment> attachments;
    for (int i = 0; i < 40; ++i) {
      const std::string name = "/docs/" + std::to_string(i);
      platform.files->add(name, name);
      attachments.emplace_back(ShareRequest::File{name});
      const std::string picture = "picture " + std::to_string(i);
      attachments.emplace_back(ShareRequest::ImageData{{picture.begin(), picture.end()}});
    }
    platform.clock->onSleep = [] { std::this_thread::yield(); };  // the budget is over at once
    std::size_t attached = 0;
    options.hooks.dryRun = [&](const std::vector<NSURL>& urls, std::string_view, unsigned) {
      attached = ExtensionMessage::ExtensionMessageWithUrl(urls.at(0))->attachments()->size();
    };
    const ShareOutcome outcome = run(attachments);
    EXPECT_EQ(outcome.missing.size(), attachments.size() - attached);
    platform.waitUntilIdle();
  }
}

TEST_F(ShareRun, NothingIsLostInALargeShare) {
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
  EXPECT_THAT(run(attachments).missing, SizeIs(0));
  const auto message = ShareRun::message();
  EXPECT_THAT(*message->attachments(), SizeIs(400));
  std::size_t at = 0;
  for (int i = 0; i < 200; ++i) {  // in the order given
    at = message->htmlBody()->find("\"https://a.example/" + std::to_string(i) + "\"", at);
    ASSERT_NE(at, std::string::npos) << i;
  }
}

TEST_F(ShareRun, CancelEndsAShareThatLoads) {
  letLoadsTakeTime();
  class SlowFiles : public testing::MemoryFiles {
   public:
    bool copyItemAtPath(std::string_view source, std::string_view destination,
                        std::optional<NSError>& error) override {
      began.open();
      goesOn.wait();
      return MemoryFiles::copyItemAtPath(source, destination, error);
    }
    Gate began;
    Gate goesOn;
  };
  const auto files = std::make_shared<SlowFiles>();
  files->add("/docs/a.txt", "A");
  platform.services.fileManager = files;
  options.hooks.cancellation = std::make_shared<Cancellation>();
  std::thread person([&] {
    files->began.wait();
    EXPECT_TRUE(options.hooks.cancellation->cancel());
  });
  const ShareOutcome outcome =
      run({ShareRequest::File{"/docs/a.txt"}, ShareRequest::Link{"https://a.example/"}});
  person.join();
  EXPECT_EQ(outcome.status, ShareOutcome::Status::notOpened);
  EXPECT_EQ(outcome.reason, "it was cancelled");
  EXPECT_THAT(outcome.missing, SizeIs(2));
  EXPECT_TRUE(outcome.busy);
  files->goesOn.open();
  platform.waitUntilIdle();
  EXPECT_THAT(platform.workspace->requests(), SizeIs(0));
}

TEST_F(ShareRun, WhatIsOpenedIsNotCancelled) {
  class Person : public testing::RecordingWorkspace {
   public:
    bool openURLs(const std::vector<NSURL>& urls, std::string_view application,
                  unsigned opening) override {
      EXPECT_FALSE(cancellation->cancel());
      return RecordingWorkspace::openURLs(urls, application, opening);
    }
    std::shared_ptr<Cancellation> cancellation = std::make_shared<Cancellation>();
  };
  const auto workspace = std::make_shared<Person>();
  platform.services.workspace = workspace;
  options.hooks.cancellation = workspace->cancellation;
  EXPECT_EQ(run({ShareRequest::Link{"https://a.example/"}}).status, ShareOutcome::Status::opened);
}

TEST_F(ShareRun, TellsHowFarItIs) {
  letLoadsTakeTime();
  std::mutex mutex;
  std::vector<std::pair<std::string, double>> told;
  options.hooks.progress = [&](const std::string& text, double part) {
    const std::lock_guard lock(mutex);
    told.emplace_back(text, part);
  };
  platform.files->add("/a.PNG", "A");
  platform.files->add("/b.jpg", "B");
  run({ShareRequest::File{"/a.PNG"}, ShareRequest::File{"/b.jpg"}});
  ASSERT_FALSE(told.empty());
  EXPECT_EQ(told.front(), std::pair(std::string("Preparing 2 pictures…"), 0.0));
  EXPECT_THAT(told, ::testing::Contains(std::pair(std::string("Preparing 2 pictures…"), 0.5)));
  EXPECT_EQ(told.back(), std::pair(std::string("Waiting for the mail client…"), -1.0));

  told.clear();
  run({ShareRequest::Link{"https://a.example/"}});
  EXPECT_EQ(told.front(), std::pair(std::string("Preparing 1 item…"), -1.0));
  told.clear();
  run({}, {{Content::Kind::text, "hello"}});
  EXPECT_EQ(told.front(), std::pair(std::string("Preparing the message…"), -1.0));
}

}  // namespace
}  // namespace korvane
