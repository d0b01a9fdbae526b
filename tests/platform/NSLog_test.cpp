#include "platform/NSLog.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "support/TestPlatform.h"

namespace korvane {
namespace {

using testing::TestPlatform;

TEST(NSLog, FillsTheFormatAndWritesOneLine) {
  const TestPlatform platform;
  NSLog("[%@] shareInit delete %@", "***ERROR***", NSError{"Domain", 5, "why"});
  NSLog("%@ %@", std::optional<NSError>(), Value());
  NSLog("no placeholder");
  EXPECT_EQ(
      platform.log->lines(),
      (std::vector<std::string>{"[***ERROR***] shareInit delete Error Domain=Domain Code=5 \"why\"",
                                "(null) (null)", "no placeholder"}));
}

TEST(NSLog, WhatAnArgumentHoldsIsNoFormat) {
  const TestPlatform platform;
  NSLog("%@ and %@", "%@%lu%i%n%s", "x");
  EXPECT_EQ(platform.log->lines().at(0), "%@%lu%i%n%s and x");
}

TEST(NSLog, GoesToTheSetThatIsInstalled) {
  {
    const TestPlatform platform;
    NSLogLine("here");
    EXPECT_EQ(platform.log->lines().size(), 1U);
  }
  const TestPlatform other;
  NSLogLine("there");
  EXPECT_EQ(other.log->lines(), std::vector<std::string>{"there"});
}

TEST(NSLog, AnyThreadMayCall) {
  const TestPlatform platform;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 100; ++i) NSLog("%i", t);
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(platform.log->lines().size(), 400U);
}

}  // namespace
}  // namespace korvane
