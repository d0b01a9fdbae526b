#include "linux/LinuxPlatform.h"

#include <gtest/gtest.h>

#include <stdlib.h>

#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

/// Data and settings folders of its own, and no session bus.
class LinuxPlatformTest : public ::testing::Test {
 protected:
  LinuxPlatformTest() {
    ::setenv("XDG_DATA_HOME", folder.path().c_str(), 1);
    ::setenv("XDG_DATA_DIRS", "/usr/share", 1);  // image loaders look types up there
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  }
  testing::TemporaryFolder folder;
};

TEST_F(LinuxPlatformTest, EveryServiceWorks) {
  Platform::install(linuxPlatform());
  const auto services = Platform::current();

  std::optional<NSError> error;
  const std::string file = folder.file("list.plist",
                                       "<?xml version=\"1.0\"?><plist version=\"1.0\"><array>"
                                       "<string>x</string></array></plist>");
  EXPECT_EQ(services->propertyLists->arrayWithContentsOfURL(NSURL::fileURLWithPath(file)),
            List{Value("x")});
  EXPECT_TRUE(services->fileManager->fileExistsAtPath(file));
  const auto container = services->fileManager->containerURLForSecurityApplicationGroupIdentifier(
      "Q7K4M2XW9P.korvane");
  ASSERT_TRUE(container);
  EXPECT_EQ(container->fileSystemRepresentation(), folder.path("Q7K4M2XW9P.korvane"));
  bool coordinated = false;
  services->fileCoordinator->coordinateWritingItemAtURL(
      container, NSFileCoordinatorWritingOptions::forDeleting, error,
      [&](const NSURL&) { coordinated = true; });
  EXPECT_TRUE(coordinated);
  EXPECT_EQ(error, std::nullopt);

  const auto png = services->images->encode({1, 1, 3, 3, {1, 2, 3}}, NSBitmapImageFileType::PNG);
  ASSERT_TRUE(png);
  EXPECT_NE(services->images->decode(*png), nullptr);
  const std::string_view html = "<p>x</p>";
  EXPECT_TRUE(services->html->read(NSData(html.begin(), html.end()), {}));
  EXPECT_EQ(services->links->matchesInString("see www.a.example/x").size(), 1U);
  NSDateFormat format;
  format.dateFormat = "yyyyMMdd";
  format.secondsFromGMT = 0;
  EXPECT_EQ(services->dates->formatter(format)->stringFromDate({0}), "19700101");
  EXPECT_TRUE(services->bundle->loadNibNamed("ShareViewController"));
  Platform::install(Platform());
}

TEST_F(LinuxPlatformTest, TheProgramChoosesItsIdentifier) {
  const Platform services = linuxPlatform({.bundleIdentifier = "it.drelk.korvane.beta8.share"});
  EXPECT_EQ(services.bundle->objectForInfoDictionaryKey("CFBundleIdentifier"),
            Value("it.drelk.korvane.beta8.share"));
}

TEST_F(LinuxPlatformTest, TheProgramChoosesWhereTheContainerLies) {
  const std::string path = folder.path("elsewhere/box");
  const Platform services = linuxPlatform({.container = path});
  const auto container =
      services.fileManager->containerURLForSecurityApplicationGroupIdentifier("Q7K4M2XW9P.korvane");
  ASSERT_TRUE(container);
  EXPECT_EQ(container->fileSystemRepresentation(), path);
  // What is inside is coordinated there, and read there.
  std::optional<NSError> error;
  const NSURL list = container->URLByAppendingPathComponent("list.plist");
  services.fileCoordinator->coordinateWritingItemAtURL(
      list, NSFileCoordinatorWritingOptions::forDeleting, error, [&](const NSURL& url) {
        services.fileManager->createDirectoryAtURL(*container, true, error);
        const std::string_view text = "<plist><array><true/></array></plist>";
        services.fileManager->writeDataAtomically(NSData(text.begin(), text.end()),
                                                  url.fileSystemRepresentation(), error);
      });
  EXPECT_EQ(error, std::nullopt);
  EXPECT_EQ(services.propertyLists->arrayWithContentsOfURL(list), List{Value(true)});
  // A relative path is not a container.
  EXPECT_FALSE(
      linuxPlatform({.container = "box"})
          .fileManager->containerURLForSecurityApplicationGroupIdentifier("Q7K4M2XW9P.korvane"));
}

TEST_F(LinuxPlatformTest, AFailedOpeningTellsWhy) {
  std::string reason;
  const Platform services =
      linuxPlatform({.launchFailure = [&](std::string_view text) { reason = text; }});
  EXPECT_FALSE(services.workspace->openURLs({NSURL::URLWithString("korvane://compose?").value()},
                                            "it.drelk.korvane",
                                            NSWorkspaceLaunchAllowingClassicStartup));
  EXPECT_NE(reason, "");
  EXPECT_EQ(reason.find('\n'), std::string::npos);
  // Nobody needs to listen.
  EXPECT_FALSE(
      linuxPlatform().workspace->openURLs({NSURL::URLWithString("korvane://compose?").value()},
                                          "it.drelk.korvane", NSWorkspaceLaunchWithoutActivation));
}

TEST_F(LinuxPlatformTest, StandardErrorGetsTheLogWhereAsked) {
  for (const bool asked : {false, true}) {
    const Platform services = linuxPlatform({.logToStandardError = asked});
    ::testing::internal::CaptureStderr();
    services.log->write("a line");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), asked ? "a line\n" : "");
  }
}

}  // namespace
}  // namespace korvane
