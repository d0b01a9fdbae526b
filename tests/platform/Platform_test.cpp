#include "platform/Platform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <thread>

#include "tests/support/TestPlatform.h"

namespace korvane {
namespace {

NSURL url(const char* text) { return NSURL::URLWithString(text).value(); }

TEST(Platform, IsThereBeforeAnythingIsInstalled) {
  const auto platform = Platform::current();
  ASSERT_NE(platform, nullptr);
  EXPECT_EQ(NSBundle::mainBundle(), platform->bundle);
  EXPECT_EQ(NSFileManager::defaultManager(), platform->fileManager);
  EXPECT_EQ(NSFileCoordinator::coordinator(), platform->fileCoordinator);
  EXPECT_EQ(NSWorkspace::sharedWorkspace(), platform->workspace);
}

TEST(Platform, EveryServiceOfAPlainSetFailsInItsDocumentedWay) {
  const Platform plain;
  std::optional<NSError> error;
  EXPECT_FALSE(plain.fileManager->containerURLForSecurityApplicationGroupIdentifier("group"));
  EXPECT_FALSE(plain.fileManager->removeItemAtURL(url("file:///a"), error));
  EXPECT_EQ(error, NSError::withErrno(ENOSYS));
  error.reset();
  EXPECT_FALSE(plain.fileManager->createDirectoryAtURL(url("file:///a"), true, error));
  EXPECT_TRUE(error);
  error.reset();
  EXPECT_FALSE(plain.fileManager->copyItemAtPath("/a", "/b", error));
  EXPECT_TRUE(error);
  error.reset();
  EXPECT_FALSE(plain.fileManager->writeDataAtomically({}, "/a", error));
  EXPECT_TRUE(error);
  EXPECT_FALSE(plain.fileManager->fileExistsAtPath("/"));
  EXPECT_FALSE(plain.fileManager->directoryExistsAtPath("/"));
  error.reset();
  bool ran = false;
  plain.fileCoordinator->coordinateWritingItemAtURL(url("file:///a"),
                                                    NSFileCoordinatorWritingOptions::forDeleting,
                                                    error, [&](const NSURL&) { ran = true; });
  EXPECT_FALSE(ran);
  EXPECT_TRUE(error);
  EXPECT_FALSE(plain.propertyLists->arrayWithContentsOfURL(url("file:///a")));
  EXPECT_EQ(plain.images->decode({}), nullptr);
  EXPECT_FALSE(plain.images->encode({}, NSBitmapImageFileType::PNG));
  EXPECT_FALSE(plain.images->encode({}, NSBitmapImageFileType::TIFF));
  EXPECT_FALSE(plain.html->read({}, {}));
  EXPECT_TRUE(plain.links->matchesInString("http://a.example").empty());
  EXPECT_FALSE(plain.workspace->openURLs({url("korvane://a")}, "it.drelk.korvane", 512));
  const auto formatter = plain.dates->formatter({});
  ASSERT_NE(formatter, nullptr);
  EXPECT_EQ(formatter->stringFromDate({}), "");
  EXPECT_FALSE(formatter->dateFromString("2020"));
}

TEST(Platform, APlainBundleTranslatesEveryTextAsItself) {
  EmptyBundle bundle;
  EXPECT_TRUE(bundle.objectForInfoDictionaryKey("CFBundleIdentifier").isAbsent());
  EXPECT_EQ(bundle.localizedStringForKey("No subject"), "No subject");
  EXPECT_EQ(bundle.localizedStringForKey("key", "value"), "value");
  EXPECT_EQ(bundle.localizedStringForKey(""), "");
  EXPECT_EQ(bundle.localizedStringForKey("", "value"), "");
  EXPECT_TRUE(bundle.loadNibNamed("any"));
}

TEST(Platform, InstallReplacesTheSetAndHeldSetsStay) {
  const auto before = Platform::current();
  Platform next;
  const auto bundle = std::make_shared<testing::FakeBundle>();
  next.bundle = bundle;
  Platform::install(next);
  EXPECT_EQ(NSBundle::mainBundle(), bundle);
  EXPECT_NE(before->bundle, nullptr);
  EXPECT_NE(before->bundle, bundle);
  Platform::install(Platform());
  EXPECT_NE(NSBundle::mainBundle(), bundle);
}

TEST(Platform, AServiceMayUseThePlatformWhileItsSetGoes) {
  // The log line of a service that is destroyed with the old set goes to the new one.
  struct Parting : LogSink {
    ~Parting() override { Platform::current()->log->write("gone"); }
    void write(std::string_view) noexcept override {}
  };
  Platform first;
  first.log = std::make_shared<Parting>();
  Platform::install(std::move(first));
  testing::TestPlatform platform;
  EXPECT_THAT(platform.log->lines(), ::testing::ElementsAre("gone"));
}

TEST(Platform, AnyThreadMayUseItWhileItIsReplaced) {
  const testing::TestPlatform platform;
  std::atomic<bool> end{false};
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&] {
      while (!end) EXPECT_NE(NSBundle::mainBundle(), nullptr);
    });
  }
  for (int i = 0; i < 500; ++i) Platform::install(platform.services);
  end = true;
  for (std::thread& reader : readers) reader.join();
}

TEST(Platform, ASetMayGoInAJobOfItsOwnPool) {
  // A job that holds the old set last ends the pool it runs on.
  for (int round = 0; round < 50; ++round) {
    Platform::install(Platform());
    std::atomic<bool> go{false};
    std::atomic<bool> done{false};
    dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0),
                   [&go, &done, held = Platform::current()]() mutable {
                     go.wait(false);
                     held.reset();
                     done = true;
                     done.notify_all();
                   });
    Platform::install(Platform());
    go = true;
    go.notify_all();
    done.wait(false);
  }
}

TEST(Platform, WhatIsMissingInASetIsThatOfAPlainOne) {
  const testing::TestPlatform before;  // puts back what was installed
  Platform set;
  const auto clock = set.clock;
  set.bundle = nullptr;
  set.fileManager = nullptr;
  set.fileCoordinator = nullptr;
  set.propertyLists = nullptr;
  set.images = nullptr;
  set.html = nullptr;
  set.dates = nullptr;
  set.links = nullptr;
  set.workspace = nullptr;
  set.notifications = nullptr;
  set.log = nullptr;
  set.queue = nullptr;
  Platform::install(std::move(set));
  const auto installed = Platform::current();
  EXPECT_EQ(installed->clock, clock);
  EXPECT_EQ(installed->bundle->localizedStringForKey("a"), "a");
  EXPECT_FALSE(installed->fileManager->fileExistsAtPath("/"));
  EXPECT_NE(installed->fileCoordinator, nullptr);
  EXPECT_FALSE(arrayWithContentsOfURL(url("file:///a")));
  EXPECT_EQ(installed->images->decode({}), nullptr);
  EXPECT_FALSE(installed->html->read({}, {}));
  EXPECT_EQ(installed->dates->formatter({})->stringFromDate({}), "");
  EXPECT_TRUE(installed->links->matchesInString("").empty());
  EXPECT_FALSE(installed->workspace->openURLs({}, "", 0));
  EXPECT_NE(installed->notifications, nullptr);
  EXPECT_NE(installed->log, nullptr);
  EXPECT_NE(installed->queue, nullptr);
}

}  // namespace
}  // namespace korvane
