#include "host/Cancellation.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

TEST(CancellationTest, HandlerIsCalledOnce) {
  Cancellation cancellation;
  int calls = 0;
  EXPECT_FALSE(cancellation.isCancelled());
  cancellation.onCancel([&] { ++calls; });
  EXPECT_EQ(calls, 0);
  cancellation.cancel();
  cancellation.cancel();
  EXPECT_TRUE(cancellation.isCancelled());
  EXPECT_EQ(calls, 1);
}

TEST(CancellationTest, HandlerThatComesLateIsCalledAtOnce) {
  Cancellation cancellation;
  cancellation.cancel();
  bool called = false;
  cancellation.onCancel([&] { called = true; });
  EXPECT_TRUE(called);
  cancellation.onCancel({});
}

TEST(CancellationTest, LaterHandlerTakesThePlace) {
  Cancellation cancellation;
  bool first = false;
  bool second = false;
  cancellation.onCancel([&] { first = true; });
  cancellation.onCancel([&] { second = true; });
  cancellation.cancel();
  EXPECT_FALSE(first);
  EXPECT_TRUE(second);
}

TEST(CancellationTest, HandlerMayLook) {
  Cancellation cancellation;
  bool seen = false;
  cancellation.onCancel([&] { seen = cancellation.isCancelled(); });
  cancellation.cancel();
  EXPECT_TRUE(seen);
}

TEST(Cancellation, IsTooLateWhenWhatCannotBeTakenBackHasBegun) {
  Cancellation cancellation;
  bool isCalled = false;
  cancellation.onCancel([&] { isCalled = true; });
  EXPECT_TRUE(cancellation.expire());
  EXPECT_FALSE(cancellation.cancel());
  EXPECT_FALSE(cancellation.isCancelled());
  EXPECT_FALSE(isCalled);

  Cancellation quick;
  EXPECT_TRUE(quick.cancel());
  EXPECT_TRUE(quick.cancel());
  EXPECT_FALSE(quick.expire());
  EXPECT_TRUE(quick.isCancelled());
}

}  // namespace
}  // namespace korvane
