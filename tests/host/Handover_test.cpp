#include "host/Handover.h"

#include <gmock/gmock.h>

#include "extension/ExtensionUtilities.h"
#include "host/WatchedServices.h"
#include "linux/detail/FileManager.h"
#include "linux/detail/ShareTurn.h"
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
  const auto isFree = [&] { return ShareTurn(container, std::chrono::milliseconds(0)).isOurs(); };
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

}  // namespace
}  // namespace korvane
