#include "linux/detail/ScreenshotPortal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/support/ScreenshotDesktop.h"

namespace korvane {
namespace {

using ::testing::HasSubstr;
using testing::kPortal;
using testing::Person;
using testing::ScreenshotBackend;
using testing::ScreenshotDesktop;

class ScreenshotPortalTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(kPortal)) GTEST_SKIP() << "xdg-desktop-portal is not installed";
  }

  ScreenshotDesktop desktop;
};

TEST_F(ScreenshotPortalTest, GivesTheDesktopsFile) {
  desktop.startPortal();
  ScreenshotBackend backend(Person::takes, "file:///home/ann/Pictures/caf%C3%A9%201.png");
  const auto taken = takeScreenshot();
  ASSERT_TRUE(std::holds_alternative<std::string>(taken)) << std::get<NoScreenshot>(taken).reason;
  EXPECT_EQ(std::get<std::string>(taken), "/home/ann/Pictures/caf\u00E9 1.png");
  EXPECT_TRUE(backend.wasInteractive());
}

TEST_F(ScreenshotPortalTest, ThePersonMayDecline) {
  desktop.startPortal();
  ScreenshotBackend backend(Person::declines, "");
  const auto taken = takeScreenshot();
  ASSERT_TRUE(std::holds_alternative<NoScreenshot>(taken));
  EXPECT_TRUE(std::get<NoScreenshot>(taken).isCancelled);
  EXPECT_EQ(std::get<NoScreenshot>(taken).reason, "no picture of the screen was taken");
}

TEST_F(ScreenshotPortalTest, SaysWhyThereIsNone) {
  struct Case {
    Person person;
    const char* uri;
    const char* reason;
  };
  for (const Case& c : {Case{Person::meetsAnError, "", "the desktop could not take it"},
                        Case{Person::takes, "https://example.org/x.png", "could not take it"},
                        Case{Person::takes, "", "could not take it"}}) {
    desktop.startPortal();
    {
      ScreenshotBackend backend(c.person, c.uri);
      const auto taken = takeScreenshot();
      ASSERT_TRUE(std::holds_alternative<NoScreenshot>(taken));
      EXPECT_FALSE(std::get<NoScreenshot>(taken).isCancelled);
      EXPECT_THAT(std::get<NoScreenshot>(taken).reason, HasSubstr(c.reason));
    }
    desktop.stopBus();
  }
}

TEST_F(ScreenshotPortalTest, EndsWithThePortal) {
  desktop.startPortal();
  ScreenshotBackend backend(Person::losesThePortal, "");
  const auto taken = takeScreenshot();
  ASSERT_TRUE(std::holds_alternative<NoScreenshot>(taken));
  EXPECT_THAT(std::get<NoScreenshot>(taken).reason, HasSubstr("the desktop's portal ended"));
}

TEST_F(ScreenshotPortalTest, NeedsAPortalAndABus) {
  ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + (desktop.folder / "none").string()).c_str(),
           1);
  auto taken = takeScreenshot();
  ASSERT_TRUE(std::holds_alternative<NoScreenshot>(taken));
  EXPECT_THAT(std::get<NoScreenshot>(taken).reason, HasSubstr("session bus cannot be reached"));
  desktop.startOwnBus();
  taken = takeScreenshot();
  ASSERT_TRUE(std::holds_alternative<NoScreenshot>(taken));
  EXPECT_THAT(std::get<NoScreenshot>(taken).reason, HasSubstr("xdg-desktop-portal"));
}

TEST_F(ScreenshotPortalTest, ABusThatSaysNothingIsNotWaitedFor) {
  const testing::SilentBus bus(desktop.folder / "silent");
  ::setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
  const auto taken = takeScreenshot(std::chrono::milliseconds(20));
  ASSERT_TRUE(std::holds_alternative<NoScreenshot>(taken));
  EXPECT_THAT(std::get<NoScreenshot>(taken).reason, HasSubstr("session bus cannot be reached"));
}

}  // namespace
}  // namespace korvane
