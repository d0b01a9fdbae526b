#include "host/MessageRun.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "host/WatchedServices.h"
#include "linux/detail/FileCoordinator.h"
#include "linux/detail/FileManager.h"
#include "model/ExtensionMessage.h"
#include "tests/support/FakeShare.h"
#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// Messages with real files, handed to a mail client that takes them all.
class MessageRun : public ::testing::Test {
 protected:
  MessageRun() {
    const ContainerRoot root(container);
    platform.services.fileManager = std::make_shared<FileManager>(FileManagerOptions{root});
    platform.services.fileCoordinator = std::make_shared<FileCoordinator>(root);
    platform.services.workspace = workspace;
    Platform::install(watchedServices(platform.services));
  }

  /// Notes what is opened, and what the staging folder holds at that moment.
  class Workspace : public NSWorkspace {
   public:
    bool openURLs(const std::vector<NSURL>& urls, std::string_view application,
                  unsigned options) override {
      EXPECT_EQ(urls.size(), 1U);
      EXPECT_EQ(application, "it.drelk.korvane");
      EXPECT_EQ(options, NSWorkspaceLaunchAllowingClassicStartup);
      message = ExtensionMessage::ExtensionMessageWithUrl(urls[0]);
      url = urls[0].absoluteString();
      ++openings;
      return answer;
    }
    std::shared_ptr<ExtensionMessage> message;
    std::string url;
    int openings = 0;
    bool answer = true;
  };

  ShareOutcome send(const ComposedMessage& message) { return runMessage(message, options); }

  /// Contents of the attachments of the message that was opened, each under its name.
  std::vector<std::string> attached() const {
    std::vector<std::string> found;
    const List attachments = workspace->message->attachments().value();
    for (const Value& value : attachments) {
      const fs::path path(std::string(value.text()));
      EXPECT_EQ(path.parent_path(), staging);
      found.push_back(path.filename().string() + "=" +
                      (fs::is_directory(path) ? "/" : testing::contentOf(path)));
    }
    return found;
  }

  testing::SharePlatform platform;
  testing::TemporaryFolder folder;
  const std::string container = folder.path("data/C");
  const fs::path staging = container + "/SharedData/Share";
  std::shared_ptr<Workspace> workspace = std::make_shared<Workspace>();
  ShareOptions options{};  // no turns: these messages stay with nobody
};

TEST_F(MessageRun, EverythingArrives) {
  const ShareOutcome outcome = send(
      {.to = {"a@example.org", "b@example.org"},
       .cc = {"c@example.org"},
       .bcc = {"d@example.org"},
       .subject = "H\u00e4llo & 100%",
       .body = "line 1\nline 2 <b>",
       .attachments = {folder.file("x/it's $HOME & #1.txt", "1"), folder.file("y/caf\xe9.txt", "2"),
                       folder.file("z/it's $HOME & #1.txt", "3")}});
  EXPECT_EQ(outcome.status, ShareOutcome::Status::opened);
  EXPECT_EQ(outcome.application, "it.drelk.korvane");
  EXPECT_THAT(outcome.missing, IsEmpty());
  EXPECT_FALSE(outcome.empty);
  EXPECT_FALSE(outcome.busy);
  const ExtensionMessage& message = *workspace->message;
  EXPECT_EQ(message.toString(), "a@example.org;b@example.org;");
  EXPECT_EQ(message.ccString(), "c@example.org;");
  EXPECT_EQ(message.bccString(), "d@example.org;");
  EXPECT_EQ(message.subject(), Value("H\u00e4llo & 100%"));
  EXPECT_EQ(message.plainBody(), "line 1\nline 2 <b>");
  EXPECT_THAT(attached(),
              ElementsAre("it's $HOME & #1.txt=1", "caf\u00e9.txt=2", "it's $HOME & #1_1.txt=3"));
}

TEST_F(MessageRun, AnEmptyMessageIsOpenedToo) {
  const ShareOutcome outcome = send({});
  EXPECT_EQ(outcome.status, ShareOutcome::Status::opened);
  EXPECT_FALSE(outcome.empty);
  EXPECT_EQ(workspace->url, "korvane://compose?");
}

TEST_F(MessageRun, FoldersAreCopiedWhole) {
  folder.file("album/deep/photo", "P");
  folder.file("secret", "S");
  fs::create_symlink("../secret", folder.path("album/out"));
  const ShareOutcome outcome = send({.attachments = {folder.path("album")}});
  EXPECT_THAT(attached(), ElementsAre("album=/"));
  EXPECT_EQ(testing::contentOf((staging / "album/deep/photo").string()), "P");
  // Named as people know it, not by the way in which it was copied.
  EXPECT_THAT(outcome.missing,
              ElementsAre(MissingThing{folder.path("album/out"),
                                       "a link that leads out of the folder is not followed"}));
}

TEST_F(MessageRun, NoLinkIsFollowedAnywhere) {
  const std::string file = folder.file("real/secret", "S");
  fs::create_symlink(file, folder.path("link"));
  fs::create_directory_symlink(folder.path("real"), folder.path("way"));
  fs::create_symlink("nowhere", folder.path("dangling"));
  const std::vector<std::string> paths{folder.path("link"),      folder.path("way/secret"),
                                       folder.path("way"),       folder.path("dangling"),
                                       "/proc/self/root" + file, "/proc/self/exe"};
  const ShareOutcome outcome = send({.body = "b", .attachments = paths});
  EXPECT_EQ(outcome.status, ShareOutcome::Status::opened);
  EXPECT_THAT(attached(), IsEmpty());
  ASSERT_THAT(outcome.missing, SizeIs(paths.size()));
  for (std::size_t i = 0; i < paths.size(); ++i) {
    EXPECT_EQ(outcome.missing[i], (MissingThing{paths[i], "it is behind a link"}));
  }
}

TEST_F(MessageRun, WhatCannotBeHadIsLeftOutAndTold) {
  const std::string fifo = folder.path("fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const ShareOutcome outcome =
      send({.attachments = {folder.path("none"), "relative", "", "[Invalid UTF-8]", fifo, "/",
                            folder.file("a", "A")}});
  EXPECT_EQ(outcome.status, ShareOutcome::Status::opened);
  EXPECT_FALSE(outcome.empty);
  EXPECT_THAT(attached(), ElementsAre("a=A"));
  EXPECT_THAT(outcome.missing,
              ::testing::UnorderedElementsAre(
                  MissingThing{folder.path("none"), "No such file or directory"},
                  MissingThing{"relative", "it is not an absolute path"},
                  MissingThing{"", "it is not an absolute path"},
                  MissingThing{"[Invalid UTF-8]",
                               "its name is not UTF-8, and the desktop cannot say which it is"},
                  MissingThing{fifo, "neither a file nor a folder"},
                  MissingThing{"/", "the root folder has no name of its own"}));
  // The log names the file, too.
  EXPECT_THAT(platform.log->lines(), ::testing::Contains(::testing::HasSubstr(fifo)));
}

TEST_F(MessageRun, WithNothingButWhatIsMissingItIsEmpty) {
  EXPECT_TRUE(send({.attachments = {folder.path("none")}}).empty);
  EXPECT_FALSE(send({.subject = "S", .attachments = {folder.path("none")}}).empty);
  EXPECT_FALSE(send({.to = {"a@b"}, .attachments = {folder.path("none")}}).empty);
  EXPECT_TRUE(send({.to = {"nobody"}}).empty);
}

// What has the path when its turn comes is not what was asked for.
TEST_F(MessageRun, TheFileThatWasOpenedIsTheOneThatIsCopied) {
  const std::string path = folder.file("a", "asked for");
  const std::string secret = folder.file("secret", "secret");
  options.container = container;
  bool isExchanged = false;
  // The file is exchanged before the staging folder is emptied.
  class Exchanging : public NSFileCoordinator {
   public:
    Exchanging(std::shared_ptr<NSFileCoordinator> coordinator, std::function<void()> exchange)
        : coordinator_(std::move(coordinator)), exchange_(std::move(exchange)) {}
    void coordinateWritingItemAtURL(const std::optional<NSURL>& url,
                                    NSFileCoordinatorWritingOptions how,
                                    std::optional<NSError>& error,
                                    const std::function<void(const NSURL&)>& accessor) override {
      exchange_();
      coordinator_->coordinateWritingItemAtURL(url, how, error, accessor);
    }

   private:
    std::shared_ptr<NSFileCoordinator> coordinator_;
    std::function<void()> exchange_;
  };
  platform.services.fileCoordinator =
      std::make_shared<Exchanging>(platform.services.fileCoordinator, [&] {
        if (std::exchange(isExchanged, true)) return;
        fs::rename(path, folder.path("aside"));
        fs::create_symlink(secret, path);
      });
  Platform::install(watchedServices(platform.services));
  EXPECT_EQ(send({.attachments = {path}}).status, ShareOutcome::Status::opened);
  EXPECT_TRUE(isExchanged);
  EXPECT_THAT(attached(), ElementsAre("a=asked for"));
}

TEST_F(MessageRun, WhatLiesInTheStagingFolderCanBeSentOnceMore) {
  options.container = container;
  folder.file("data/C/SharedData/Share/a", "A");
  folder.file("data/C/SharedData/Share/b/c", "C");
  const ShareOutcome outcome =
      send({.attachments = {(staging / "a").string(), (staging / "b").string()}});
  EXPECT_THAT(outcome.missing, IsEmpty());
  EXPECT_THAT(attached(), ElementsAre("a=A", "b=/"));
  EXPECT_EQ(testing::contentOf((staging / "b/c").string()), "C");
}

TEST_F(MessageRun, RecipientsAreAddressesEachForItself) {
  const ShareOutcome outcome = send(
      {.to = {"a@b;c@d", "x", "@b", "a@", "a@b\n", "Ann <a@b>", "a@b, c@d", "a b@c", "", "\"a@b",
              "a@b@c", "\"a\\\nb\"@c"},
       .cc = {"\"a; b\"@c", "\"a@b\"@c", "\u00fc@\u00e4.example", "a@[IPv6:::1]", "a+b'c/d@e"}});
  EXPECT_EQ(workspace->message->toString(), std::nullopt);
  EXPECT_EQ(workspace->message->ccString(),
            "\"a; b\"@c;\"a@b\"@c;\u00fc@\u00e4.example;a@[IPv6:::1];a+b'c/d@e;");
  ASSERT_THAT(outcome.missing, SizeIs(12));
  EXPECT_EQ(outcome.missing[0],
            (MissingThing{"the recipient \"a@b;c@d\"", "it is not a mail address"}));
}

TEST_F(MessageRun, TheSubjectIsOneLine) {
  send({.subject = "one\r\ntwo\tthree"});
  EXPECT_EQ(workspace->message->subject(), Value("one  two three"));
}

TEST_F(MessageRun, AMailClientThatRefusesLeavesEverythingMissing) {
  workspace->answer = false;
  const std::string path = folder.file("a", "A");
  const ShareOutcome outcome = send({.subject = "S", .attachments = {path}});
  EXPECT_EQ(outcome.status, ShareOutcome::Status::notOpened);
  EXPECT_EQ(outcome.reason, "the application could not be opened");
  EXPECT_THAT(outcome.missing, ElementsAre(MissingThing{path, outcome.reason}));
}

TEST_F(MessageRun, OneThatWasStoppedIsNotOpened) {
  options.hooks.cancellation = std::make_shared<Cancellation>();
  options.hooks.cancellation->cancel();
  const ShareOutcome outcome = send({.subject = "S"});
  EXPECT_EQ(outcome.status, ShareOutcome::Status::notOpened);
  EXPECT_EQ(outcome.reason, "it was cancelled");
  EXPECT_EQ(workspace->openings, 0);
}

}  // namespace
}  // namespace korvane
