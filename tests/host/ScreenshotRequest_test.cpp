#include "host/ScreenshotRequest.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace korvane {
namespace {

// The picture itself is taken in the tests of the portal and of the program.
TEST(ScreenshotRequestTest, NameIsTheLocalTime) {
  constexpr std::time_t kTime = 1795269909;  // 2026-11-21 14:05:09 UTC
  ::setenv("TZ", "UTC", 1);
  ::tzset();
  EXPECT_EQ(screenshotName(kTime, "/home/ann/Pictures/Screenshot-1.png"),
            "Screenshot 2026-11-21 14-05-09.png");
  EXPECT_EQ(screenshotName(kTime, "/tmp/x.y/picture"), "Screenshot 2026-11-21 14-05-09.png");
  EXPECT_EQ(screenshotName(kTime, "/tmp/picture.JPG"), "Screenshot 2026-11-21 14-05-09.JPG");
  ::setenv("TZ", "Asia/Kolkata", 1);
  ::tzset();
  EXPECT_EQ(screenshotName(kTime, "/tmp/picture.png"), "Screenshot 2026-11-21 19-35-09.png");
}

}  // namespace
}  // namespace korvane
