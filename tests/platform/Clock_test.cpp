#include "platform/Clock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "tests/support/TestPlatform.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;

double secondsNow() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

TEST(SystemClock, TellsTheTime) {
  const double before = secondsNow();
  const double now = SystemClock().now().timeIntervalSince1970;
  EXPECT_GE(now, before);
  EXPECT_LE(now, secondsNow());
}

TEST(SystemClock, SleepsAtLeastAsLong) {
  const auto start = std::chrono::steady_clock::now();
  SystemClock().sleep(0.02);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
}

TEST(SystemClock, AnIntervalThatIsOverDoesNotSleep) {
  SystemClock().sleep(0);
  SystemClock().sleep(-1e300);
}

TEST(Clock, SleepsAndDatesAreThoseOfTheInstalledPlatform) {
  testing::TestPlatform platform;
  EXPECT_EQ(NSDate::date(), NSDate{1'800'000'000});
  sleepForTimeInterval(2.5);
  sleepForTimeInterval(0.25);
  EXPECT_EQ(NSDate::date(), NSDate{1'800'000'002.75});
  EXPECT_THAT(platform.clock->sleeps(), ElementsAre(2.5, 0.25));
}

}  // namespace
}  // namespace korvane
