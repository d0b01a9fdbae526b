#include "host/WatchedServices.h"

#include <gmock/gmock.h>

#include "platform/Dispatch.h"
#include "tests/support/FakeShare.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

class WatchedServices : public ::testing::Test {
 protected:
  WatchedServices() {
    Platform::install(watchedServices(platform.services));
    files = NSFileManager::defaultManager();
  }
  testing::SharePlatform platform;
  std::shared_ptr<RunWatch> run = std::make_shared<RunWatch>();
  std::shared_ptr<NSFileManager> files;
};

TEST_F(WatchedServices, WithoutARunEverythingGoesThrough) {
  platform.files->add("/a", "A");
  std::optional<NSError> error;
  EXPECT_TRUE(files->copyItemAtPath("/a", "/b", error));
  EXPECT_TRUE(files->fileExistsAtPath("/b"));
  EXPECT_FALSE(files->copyItemAtPath("/none", "/c", error));
  NSLog("[***ERROR***] line");
  EXPECT_THAT(platform.log->lines(), ElementsAre("[***ERROR***] line"));
  EXPECT_TRUE(NSWorkspace::sharedWorkspace()->openURLs({}, "a", 0));
  EXPECT_THAT(platform.workspace->requests(), SizeIs(1));
  bool isRun = false;
  dispatch_async(dispatch_get_global_queue(0, 0), [&] { isRun = true; });
  platform.waitUntilIdle();
  EXPECT_TRUE(isRun);
}

TEST_F(WatchedServices, JobsCarryTheRunOfWhoQueuesThem) {
  std::shared_ptr<RunWatch> inJob, inJobOfJob;
  bool isBackground = false;
  {
    const RunScope scope(run);
    dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_BACKGROUND, 0), [&] {
      inJob = RunScope::current();
      isBackground = RunScope::isBackgroundJob();
      dispatch_async(dispatch_get_global_queue(0, 0), [&] { inJobOfJob = RunScope::current(); });
    });
  }
  platform.waitUntilIdle();
  EXPECT_EQ(inJob, run);
  EXPECT_TRUE(isBackground);
  EXPECT_EQ(inJobOfJob, run);
  EXPECT_FALSE(run->isBusy());
}

TEST_F(WatchedServices, AJobThatThrowsHasEnded) {
  {
    const RunScope scope(run);
    dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_BACKGROUND, 0),
                   [] { throw std::bad_alloc(); });
  }
  run->waitForBackground();
  platform.waitUntilIdle();
  EXPECT_FALSE(run->isBusy());
}

TEST_F(WatchedServices, WhyAFileIsNotStagedIsNoted) {
  const RunScope scope(run);
  platform.files->add("/a", "A");
  std::optional<NSError> error;
  run->deliverStaged(run->add("one", ""), [&] { files->copyItemAtPath("/none", "/x", error); });
  run->deliverStaged(run->add("two", ""), [&] { files->copyItemAtPath("/a", "/x", error); });
  run->deliverStaged(run->add("three", ""), [&] { files->writeDataAtomically({}, "/y", error); });
  run->deliverStaged(run->add("four", ""), [&] {
    NSFileCoordinator::coordinator()->coordinateWritingItemAtURL(
        std::nullopt, NSFileCoordinatorWritingOptions::forDeleting, error, [](const NSURL&) {});
  });
  EXPECT_THAT(run->namesDelivered(), ElementsAre("two", "three"));
  EXPECT_THAT(run->missing(),
              ElementsAre(MissingThing{"one", "No such file or directory"},
                          MissingThing{"four", "there is no container for attachments"}));
}

TEST_F(WatchedServices, TheDesktopsReasonReachesTheRun) {
  ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  Platform::install(watchedLinuxServices());
  const RunScope scope(run);
  EXPECT_FALSE(NSWorkspace::sharedWorkspace()->openURLs(
      {NSURL::URLWithString("korvane://x").value()}, "no.such.application", 0));
  EXPECT_THAT(run->failure(), HasSubstr("no.such.application"));
}

}  // namespace
}  // namespace korvane
