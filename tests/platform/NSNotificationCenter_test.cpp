#include "platform/NSNotificationCenter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace korvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct NSNotificationCenterTest : ::testing::Test {
  NSNotificationCenter center;
  std::vector<std::string> calls;
  // Their addresses are all that matters.
  int first = 0, second = 0;

  NSNotificationCenter::Callback recorder(std::string name) {
    return
        [this, name = std::move(name)](std::string_view, const Value&) { calls.push_back(name); };
  }
};

TEST_F(NSNotificationCenterTest, CallsTheObserversOfTheNameInOrderOnThisThread) {
  Value seenObject;
  std::string seenName;
  std::thread::id thread;
  center.addObserver(&second, "A", recorder("second"));
  center.addObserver(&first, "A", recorder("first"));
  center.addObserver(&first, "B", recorder("other name"));
  center.addObserver(&second, "A", [&](std::string_view name, const Value& posted) {
    calls.emplace_back("again");
    seenName = name;
    seenObject = posted;
    thread = std::this_thread::get_id();
  });
  center.postNotificationName("A", 5);
  EXPECT_THAT(calls, ElementsAre("second", "first", "again"));
  EXPECT_EQ(seenName, "A");
  EXPECT_EQ(seenObject, Value(5));
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(NSNotificationCenterTest, ANameWithoutObserversCallsNobody) {
  center.addObserver(&first, "A", recorder("first"));
  center.postNotificationName("a");
  center.postNotificationName("");
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(NSNotificationCenterTest, RemovingEndsEveryObservationOfTheObserver) {
  center.addObserver(&first, "A", recorder("first"));
  center.addObserver(&second, "A", recorder("second"));
  center.addObserver(&first, "B", recorder("first B"));
  EXPECT_EQ(center.observationCount(&first), 2U);
  center.removeObserver(&first);
  center.removeObserver(&first);  // one that never registered, too
  EXPECT_EQ(center.observationCount(&first), 0U);
  EXPECT_EQ(center.observationCount(&second), 1U);
  center.postNotificationName("A");
  center.postNotificationName("B");
  EXPECT_THAT(calls, ElementsAre("second"));
}

TEST_F(NSNotificationCenterTest, ObserversMayAddAndRemoveObservers) {
  center.addObserver(&first, "A", [this](std::string_view, const Value&) {
    calls.emplace_back("first");
    center.removeObserver(&first);
    center.removeObserver(&second);
    center.addObserver(&second, "A", recorder("added"));
  });
  center.addObserver(&second, "A", recorder("second"));
  center.postNotificationName("A");
  EXPECT_THAT(calls, ElementsAre("first"));  // the second may be gone for good
  center.postNotificationName("A");
  EXPECT_THAT(calls, ElementsAre("first", "added"));
}

TEST_F(NSNotificationCenterTest, ReleasesWhatTheCallbackHolds) {
  auto held = std::make_shared<int>(1);
  const std::weak_ptr<int> watch = held;
  center.addObserver(&first, "A", [held = std::move(held)](std::string_view, const Value&) {});
  EXPECT_FALSE(watch.expired());
  center.removeObserver(&first);
  EXPECT_TRUE(watch.expired());
}

TEST_F(NSNotificationCenterTest, ACallbackMayRemoveItsOwnObserverWhileItIsReleased) {
  // The destructor of what a callback holds uses the center: it must not be locked then.
  struct Remover {
    NSNotificationCenter& center;
    ~Remover() { center.removeObserver(this); }
  };
  const auto remover = std::make_shared<Remover>(center);
  center.addObserver(&first, "A", [held = remover](std::string_view, const Value&) {});
  std::weak_ptr<Remover> watch = remover;
  const_cast<std::shared_ptr<Remover>&>(remover).reset();
  center.removeObserver(&first);
  EXPECT_TRUE(watch.expired());
}

TEST_F(NSNotificationCenterTest, WhatAnObserverThrowsReachesThePoster) {
  center.addObserver(&first, "A",
                     [](std::string_view, const Value&) { throw std::runtime_error("observer"); });
  center.addObserver(&second, "A", recorder("second"));
  EXPECT_THROW(center.postNotificationName("A"), std::runtime_error);
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(NSNotificationCenterTest, AHandleEndsItsObservationWhenItGoes) {
  {
    const NSNotificationObservation one = center.addObserver("A", recorder("one"));
    NSNotificationObservation two = center.addObserver("A", recorder("two"));
    center.postNotificationName("A");
    EXPECT_THAT(calls, ElementsAre("one", "two"));
    two.end();
    two.end();
    center.postNotificationName("A");
    EXPECT_THAT(calls, ElementsAre("one", "two", "one"));
  }
  center.postNotificationName("A");
  EXPECT_EQ(calls.size(), 3U);
}

TEST_F(NSNotificationCenterTest, AHandleMayMove) {
  NSNotificationObservation kept = center.addObserver("A", recorder("old"));
  kept = center.addObserver("A", recorder("new"));  // ends the old one
  center.postNotificationName("A");
  EXPECT_THAT(calls, ElementsAre("new"));
  NSNotificationObservation& same = kept;
  kept = std::move(same);
  NSNotificationObservation moved = std::move(kept);
  center.postNotificationName("A");
  EXPECT_THAT(calls, ElementsAre("new", "new"));
  moved = NSNotificationObservation();
  center.postNotificationName("A");
  EXPECT_EQ(calls.size(), 2U);
}

TEST_F(NSNotificationCenterTest, ACallbackMayEndItsOwnObservation) {
  NSNotificationObservation observation;
  observation = center.addObserver("A", [&](std::string_view, const Value&) {
    calls.emplace_back("once");
    observation.end();
  });
  center.postNotificationName("A");
  center.postNotificationName("A");
  EXPECT_THAT(calls, ElementsAre("once"));
}

TEST_F(NSNotificationCenterTest, ThereIsOneDefaultCenter) {
  EXPECT_EQ(&NSNotificationCenter::defaultCenter(), &NSNotificationCenter::defaultCenter());
}

TEST_F(NSNotificationCenterTest, AnyThreadMayCall) {
  std::atomic<int> count{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      int observer = 0;
      for (int j = 0; j < 200; ++j) {
        center.addObserver(&observer, "A", [&](std::string_view, const Value&) { ++count; });
        center.postNotificationName("A");
        center.removeObserver(&observer);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_GE(count, 4 * 200);
}

TEST_F(NSNotificationCenterTest, AnEmptyCallbackIsNotCalled) {
  center.addObserver(&first, "A", {});
  center.addObserver(&second, "A", recorder("second"));
  center.postNotificationName("A");
  EXPECT_THAT(calls, ElementsAre("second"));
}

}  // namespace
}  // namespace korvane
