#include "host/WatchedServices.h"

#include <gmock/gmock.h>

#include <cerrno>

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

/// Files on a disk that has no room for a folder.
class FullDisk : public testing::MemoryFiles {
 public:
  bool createDirectoryAtURL(const NSURL& url, bool, std::optional<NSError>& error) override {
    error = NSError::withErrno(ENOSPC, url.fileSystemRepresentation());
    return false;
  }
  bool directoryExistsAtPath(std::string_view path) override { return path == "/there"; }
  bool copyItemAtPath(std::string_view, std::string_view destination,
                      std::optional<NSError>& error) override {
    error = NSError::withErrno(ENOENT, std::string(destination));
    return false;
  }
};

TEST_F(WatchedServices, WithoutTheStagingFolderItsOwnReasonIsNoted) {
  platform.services.fileManager = std::make_shared<FullDisk>();
  Platform::install(watchedServices(platform.services));
  files = NSFileManager::defaultManager();
  const RunScope scope(run);
  const auto copy = [&](const std::string& destination) {
    run->deliverStaged(run->add(destination, ""), [&] {
      std::optional<NSError> error;
      files->copyItemAtPath("/a", destination, error);
    });
  };
  copy("/Share/a");
  std::optional<NSError> error;
  EXPECT_FALSE(files->createDirectoryAtURL(NSURL::fileURLWithPath("/Share"), true, error));
  copy("/Share/b");
  copy("/there/c");
  ASSERT_THAT(run->missing(), SizeIs(3));
  EXPECT_THAT(run->missing()[0].reason, HasSubstr("No such file or directory"));
  EXPECT_EQ(run->missing()[1].reason, "the staging folder cannot be used: No space left on device");
  EXPECT_THAT(run->missing()[2].reason, HasSubstr("No such file or directory"));
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
