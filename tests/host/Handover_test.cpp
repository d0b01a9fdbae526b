#include "host/Handover.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "extension/ExtensionUtilities.h"
#include "host/WatchedServices.h"
#include "linux/detail/FileCoordinator.h"
#include "linux/detail/FileDescriptor.h"
#include "linux/detail/FileManager.h"
#include "linux/detail/ShareTurn.h"
#include "linux/detail/Workspace.h"
#include "tests/support/FakeShare.h"
#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

class Handover : public ::testing::Test {
 protected:
  testing::SharePlatform platform;
  testing::TemporaryFolder folder;
};

// A message made without the extension's controller: one that another program composed.
TEST_F(Handover, FilesAndAMessageOfOnesOwn) {
  platform.files->add("/docs/a.txt", "A");
  Platform::install(watchedServices(platform.services));
  const auto run = std::make_shared<RunWatch>();
  const ShareOutcome outcome = handOver(run, {}, [&] {
    ExtensionUtilities::ShareInit("Share");
    ExtensionMessage message;
    message.setSubject("S");
    for (const char* path : {"/docs/a.txt", "/docs/none"}) {
      run->deliverStaged(run->add(path, ""), [&] {
        message.addAttachments(ExtensionUtilities::ShareFiles("Share", {path}));
      });
    }
    ExtensionUtilities::LaunchCommands({*message.queryUrl("compose")}, false);
  });
  EXPECT_EQ(outcome.status, ShareOutcome::Status::opened);
  EXPECT_EQ(outcome.application, "it.drelk.korvane");
  EXPECT_THAT(outcome.missing,
              ElementsAre(MissingThing{"/docs/none", "No such file or directory"}));
  EXPECT_THAT(platform.workspace->requests().at(0).urls, SizeIs(1));
}

TEST_F(Handover, WorkThatOpensNothingIsNotHandedOver) {
  Platform::install(watchedServices(platform.services));
  const ShareOutcome outcome = handOver(std::make_shared<RunWatch>(), {}, [] {});
  EXPECT_EQ(outcome.status, ShareOutcome::Status::notOpened);
  EXPECT_EQ(outcome.reason, "no address could be made of the message");
  EXPECT_EQ(outcome.application, "");
}

TEST_F(Handover, TheTurnLastsAsLongAsTheWork) {
  const std::string container = folder.path("C");
  const auto isFree = [&] { return ShareTurn(container, container + "/S/Share").isOurs(); };
  handOver(std::make_shared<RunWatch>(), {.container = container}, [&] { EXPECT_FALSE(isFree()); });
  EXPECT_TRUE(isFree());
}

TEST_F(Handover, OnlyUnfinishedAttachmentsAreRemoved) {
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

/// Shares on real files.
class HandoverOnDisk : public ::testing::Test {
 protected:
  HandoverOnDisk() {
    const ContainerRoot root(container);
    platform.services.fileManager = std::make_shared<FileManager>(FileManagerOptions{root});
    platform.services.fileCoordinator = std::make_shared<FileCoordinator>(root);
    platform.services.workspace = workspace;
    options.hooks.tell = [&](const std::string& line) { told.push_back(line); };
  }
  ~HandoverOnDisk() override { platform.waitUntilIdle(); }

  /// Shares the files, as a program that composes the message itself.
  ShareOutcome share(const std::vector<std::string>& paths) {
    Platform::install(watchedServices(platform.services));
    const auto run = std::make_shared<RunWatch>(options.hooks);
    std::vector<std::size_t> things;
    for (const std::string& path : paths) things.push_back(run->addFile(path, "", path));
    return handOver(run, options, [&] {
      ExtensionUtilities::ShareInit("Share");
      staged.clear();
      for (std::size_t i = 0; i < paths.size(); ++i) {
        run->deliverStaged(things[i], [&] {
          for (const Value& value :
               ExtensionUtilities::ShareFiles("Share", {run->placeOf(paths[i])})) {
            staged.push_back(std::string(value.text()).substr(staging.size() + 1));
          }
        });
      }
      // The file system's times advance in steps, and the clock stands still here.
      std::this_thread::sleep_for(std::chrono::milliseconds(12));
      ExtensionUtilities::LaunchCommands({*NSURL::URLWithString("korvane://compose?")}, false);
    });
  }

  /// Looks at what is handed over at that moment.
  class Workspace : public NSWorkspace {
   public:
    bool openURLs(const std::vector<NSURL>&, std::string_view, unsigned) override {
      if (onOpening) onOpening();
      if (!failure.empty()) RunScope::current()->launchFailed(failure);
      return failure.empty();
    }
    std::function<void()> onOpening;
    std::string failure;
  };

  testing::SharePlatform platform;
  testing::TemporaryFolder folder;
  const std::string container = folder.path("data/C");
  const std::string staging = container + "/SharedData/Share";
  const std::string lockFile = container + ".share";
  std::shared_ptr<Workspace> workspace = std::make_shared<Workspace>();
  ShareOptions options{.container = container};
  std::vector<std::string> told;
  std::vector<std::string> staged;
};

TEST_F(HandoverOnDisk, FilesThatTheClientHasNotTakenAreKept) {
  std::string noted;
  workspace->onOpening = [&] { noted = testing::contentOf(lockFile); };
  ASSERT_EQ(share({folder.file("first", "1")}).status, ShareOutcome::Status::opened);
  EXPECT_THAT(noted, ::testing::EndsWith(" SharedData/Share\n"));  // before the client knew

  const std::string reason =
      "the mail client has not taken the files of the message before this one yet";
  const ShareOutcome second = share({folder.file("second", "2")});
  EXPECT_EQ(second.status, ShareOutcome::Status::notOpened);
  EXPECT_EQ(second.reason, reason);
  EXPECT_THAT(second.missing, ElementsAre(MissingThing{folder.path("second"), reason}));
  EXPECT_THAT(told, SizeIs(1));
  EXPECT_EQ(testing::contentOf(staging + "/first"), "1");  // and reads it here

  EXPECT_EQ(share({folder.path("second")}).status, ShareOutcome::Status::opened);
  EXPECT_FALSE(std::filesystem::exists(staging + "/first"));
}

TEST_F(HandoverOnDisk, WhatTheClientRefusedIsNotKept) {
  workspace->failure = "it refused";
  EXPECT_EQ(share({folder.file("first", "1")}).reason, "it refused");
  EXPECT_EQ(testing::contentOf(lockFile), "");
  EXPECT_EQ(share({folder.path("first")}).reason, "it refused");
}

TEST_F(HandoverOnDisk, AClientThatHasNotAnsweredMayStillCome) {
  workspace->failure = kNotAnsweredYet;
  EXPECT_EQ(share({folder.file("first", "1")}).reason,
            "the mail client has not answered yet; its window may still come");
  EXPECT_THAT(testing::contentOf(lockFile), ::testing::EndsWith(" SharedData/Share\n"));
  EXPECT_NE(share({folder.path("first")}).reason, kNotAnsweredYet);
}

TEST_F(HandoverOnDisk, ADryRunHandsNothingOver) {
  options.hooks.dryRun = [](const auto&...) {};
  EXPECT_EQ(share({folder.file("first", "1")}).status, ShareOutcome::Status::opened);
  EXPECT_EQ(testing::contentOf(lockFile), "");
  EXPECT_EQ(share({folder.path("first")}).status, ShareOutcome::Status::opened);
}

TEST_F(HandoverOnDisk, WhatIsLeftOutOfAFolderIsMissing) {
  folder.file("secret", "secret");
  folder.file("album/photo", "photo");
  std::filesystem::create_symlink("../secret", folder.path("album/link"));
  std::filesystem::create_symlink("nowhere", folder.path("album/sub"));
  const std::string second = folder.file("notes", "notes");
  ExtensionUtilities::ShareInit("Share");
  const ShareOutcome outcome = share({folder.path("album"), folder.path("none"), second});
  EXPECT_EQ(outcome.status, ShareOutcome::Status::opened);
  EXPECT_THAT(staged, ElementsAre("album", "notes"));
  EXPECT_THAT(outcome.missing,
              ElementsAre(MissingThing{folder.path("none"), "No such file or directory"},
                          MissingThing{folder.path("album/link"),
                                       "a link that leads out of the folder is not followed"},
                          MissingThing{folder.path("album/sub"), "No such file or directory"}));
  EXPECT_EQ(testing::contentOf(staging + "/album/photo"), "photo");
  EXPECT_FALSE(std::filesystem::exists(staging + "/album/link"));
  std::size_t lines = 0;  // only that of what was given itself
  for (const std::string& line : platform.log->lines()) {
    if (line.find("shareFiles") != std::string::npos) ++lines;
  }
  EXPECT_EQ(lines, 1U);
}

TEST_F(HandoverOnDisk, WhatLiesInTheStagingFolderCanBeSharedOnceMore) {
  ASSERT_EQ(share({folder.file("report.pdf", "report")}).status, ShareOutcome::Status::opened);
  (void)testing::contentOf(staging + "/report.pdf");
  const ShareOutcome outcome = share({staging + "/report.pdf", folder.file("b", "b")});
  EXPECT_EQ(outcome.status, ShareOutcome::Status::opened);
  EXPECT_THAT(outcome.missing, SizeIs(0));
  EXPECT_THAT(staged, ElementsAre("report.pdf", "b"));
  EXPECT_EQ(testing::contentOf(staging + "/report.pdf"), "report");
  EXPECT_EQ(FileManager().contentsOfDirectoryAtPath(container + "/SharedData"),
            std::vector<std::string>{"Share"});
}

TEST_F(HandoverOnDisk, AStagingFolderThatIsLockedForTooLongIsTold) {
  struct flock all = {};
  all.l_type = F_WRLCK;
  std::filesystem::create_directories(container);
  platform.services.fileCoordinator =
      std::make_shared<FileCoordinator>(ContainerRoot(container), 0.05);
  const FileDescriptor file(::open((container + ".lock").c_str(), O_RDWR | O_CREAT, 0600));
  ASSERT_EQ(::fcntl(file.get(), F_OFD_SETLK, &all), 0);
  const ShareOutcome outcome = share({folder.file("first", "1")});
  EXPECT_EQ(outcome.status, ShareOutcome::Status::opened);
  ASSERT_THAT(outcome.missing, SizeIs(1));
  EXPECT_EQ(outcome.missing[0].item, folder.path("first"));
  EXPECT_THAT(outcome.missing[0].reason, ::testing::HasSubstr("another program keeps it locked"));
  EXPECT_THAT(platform.log->lines(),
              ::testing::Contains(::testing::StartsWith("[***ERROR***] Error shareFiles Error ")));
}

}  // namespace
}  // namespace korvane
