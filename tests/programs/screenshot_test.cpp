// korvane-share --screenshot with the desktop's own portal on a bus of the test's own.

#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include "linux/detail/UnfinishedNames.h"
#include "model/ExtensionMessage.h"
#include "tests/support/FakeNotificationServer.h"
#include "tests/support/ScreenshotDesktop.h"

#include "support/Places.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using testing::Finished;
using ::testing::HasSubstr;
using testing::kPortal;
using ::testing::MatchesRegex;
using testing::Person;
using testing::readFile;
using testing::ScreenshotBackend;
using testing::ScreenshotDesktop;
using testing::writeFile;

class Screenshot : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(kPortal)) GTEST_SKIP() << "xdg-desktop-portal is not installed";
    desktop.set("LC_ALL", "C.UTF-8");
    desktop.addService("it.drelk.korvane",
                       KORVANE_BINARY_DIR "/bin/korvane-receiver --json --output " + received);
    writeFile(taken, "a picture, or so");
    desktop.startPortal();
  }

  Finished share(const std::string& option = "--json") const {
    return desktop.run({KORVANE_BINARY_DIR "/bin/korvane-share", "--json", "--screenshot", option});
  }

  ScreenshotDesktop desktop;
  const std::string received = desktop.folder / "received";
  const fs::path taken = desktop.folder / "From the desktop.png";
};

TEST_F(Screenshot, IsSharedAsAFile) {
  ScreenshotBackend backend(Person::takes,
                            "file://" + desktop.folder.string() + "/From%20the%20desktop.png");
  const Finished finished = share();
  EXPECT_EQ(finished.status, 0) << finished.errors;
  EXPECT_EQ(finished.output,
            "{\"status\": \"opened\", \"application\": \"it.drelk.korvane\", \"missing\": []}\n");
  const std::string line = readFile(received);
  const std::size_t url = line.find("korvane://");
  ASSERT_NE(url, line.npos) << line;
  const auto message = ExtensionMessage::ExtensionMessageWithUrl(
      NSURL::URLWithString(line.substr(url, line.find('"', url) - url)).value());
  const List attachments = message->attachments().value_or(List());
  ASSERT_EQ(attachments.size(), 1U);
  const std::string path(attachments[0].text());
  EXPECT_THAT(fs::path(path).filename().string(),
              MatchesRegex("Screenshot [0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}-[0-9]{2}-[0-9]{2}.png"));
  EXPECT_EQ(readFile(path), "a picture, or so");
  EXPECT_TRUE(fs::exists(taken));
  for (const auto& entry : fs::directory_iterator(desktop.folder / "data")) {
    EXPECT_FALSE(isUnfinishedName(entry.path().filename().string())) << entry.path();
  }
}

// Whoever declined knows it: no notification says so.
TEST_F(Screenshot, MayBeDeclined) {
  ScreenshotBackend backend(Person::declines, "");
  testing::FakeNotificationServer notifications(desktop.variable("DBUS_SESSION_BUS_ADDRESS"));
  const Finished finished = share("--notify");
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.errors,
            "korvane-share: not handed over: no picture of the screen was taken\n");
  EXPECT_THAT(finished.output, HasSubstr("\"notOpened\""));
  EXPECT_FALSE(fs::exists(received));
  EXPECT_TRUE(notifications.isQuiet());
}

TEST_F(Screenshot, WhyThereIsNoneStandsInANotification) {
  ScreenshotBackend backend(Person::meetsAnError, "");
  testing::FakeNotificationServer notifications(desktop.variable("DBUS_SESSION_BUS_ADDRESS"));
  EXPECT_EQ(share("--notify").status, 1);
  EXPECT_THAT(notifications.next().body, HasSubstr("the desktop could not take it"));
}

TEST_F(Screenshot, FileMayBeGone) {
  ScreenshotBackend backend(Person::takes, "file:///no/picture.png");
  const Finished finished = share();
  EXPECT_EQ(finished.status, 1);
  EXPECT_THAT(finished.errors, HasSubstr("the picture of the screen cannot be read"));
}

TEST_F(Screenshot, TheCopyMayHaveNoPlace) {
  ScreenshotBackend backend(Person::takes,
                            "file://" + desktop.folder.string() + "/From%20the%20desktop.png");
  writeFile(desktop.folder / "file", "no folder");
  desktop.set("XDG_DATA_HOME", desktop.folder / "file/data");
  const Finished finished = share();
  EXPECT_EQ(finished.status, 1);
  EXPECT_THAT(finished.errors, HasSubstr("there is no folder to fetch it into: "));
}

}  // namespace
}  // namespace korvane
