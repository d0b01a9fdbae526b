#include "host/RunWatch.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

namespace korvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const char* const kLate = "it was not ready within ten seconds";

class Watch : public ::testing::Test {
 protected:
  std::shared_ptr<RunWatch> run = std::make_shared<RunWatch>();
  std::size_t thing = run->add("a", "presumed");
  const std::function<void()> nothing = [] {};
};

TEST_F(Watch, WhatIsOnItsWayIsMissing) {
  EXPECT_THAT(run->missing(), ElementsAre(MissingThing{"a", kLate}));
  EXPECT_THAT(run->namesDelivered(), IsEmpty());
}

TEST_F(Watch, WhatIsDeliveredIsInTheMessageWhenItsHandlerHasReturned) {
  run->deliver(thing, [&] { EXPECT_THAT(run->namesDelivered(), IsEmpty()); });
  EXPECT_THAT(run->namesDelivered(), ElementsAre("a"));
  EXPECT_THAT(run->missing(), IsEmpty());
}

TEST_F(Watch, AStagedThingNeedsItsCommit) {
  run->deliverStaged(thing, nothing);
  EXPECT_THAT(run->missing(), ElementsAre(MissingThing{"a", "presumed"}));
  const std::size_t other = run->add("b", "presumed");
  run->deliverStaged(other, [&] { EXPECT_TRUE(run->commit()); });
  EXPECT_THAT(run->namesDelivered(), ElementsAre("b"));
}

TEST_F(Watch, TheFirstReasonCounts) {
  run->deliverStaged(thing, [&] {
    run->blame("first");
    run->blame("second");
  });
  EXPECT_THAT(run->missing(), ElementsAre(MissingThing{"a", "first"}));
}

TEST_F(Watch, PartsOfAThingThatIsDeliveredMayBeLeftOut) {
  EXPECT_FALSE(run->leaveOut("x", "nobody delivers anything"));
  run->deliverStaged(thing, [&] { EXPECT_TRUE(run->leaveOut("x", "why")); });
  EXPECT_THAT(run->missing(), ElementsAre(MissingThing{"a", "presumed"}));
  run->deliverStaged(run->add("folder/", ""), [&] {
    run->leaveOut("/folder/sub/x", "why");
    run->commit();
  });
  EXPECT_THAT(run->missing(),
              ElementsAre(MissingThing{"a", "presumed"}, MissingThing{"/folder/sub/x", "why"}));
  EXPECT_THAT(run->namesDelivered(), ElementsAre("folder/"));
}

TEST_F(Watch, AnErrorLineInTheHandlerIsAFailure) {
  const RunScope scope(run);
  run->deliver(thing, [&] { run->errorLogged(); });
  EXPECT_THAT(run->missing(), ElementsAre(MissingThing{"a", "presumed"}));
  EXPECT_FALSE(run->textFailed());
  run->errorLogged();  // outside of handlers only the background job's lines count
  EXPECT_FALSE(run->textFailed());
  const RunScope job(run, true);
  run->errorLogged();
  EXPECT_TRUE(run->textFailed());
}

TEST_F(Watch, AFailedLoadHasItsErrorLoggedAndItsReason) {
  const RunScope job(run, true);
  bool called = false;
  run->fail(thing, "why", [&] {
    called = true;
    run->errorLogged();
  });
  EXPECT_TRUE(called);
  EXPECT_FALSE(run->textFailed());
  EXPECT_THAT(run->missing(), ElementsAre(MissingThing{"a", "why"}));
}

TEST_F(Watch, WhatIsKnownToBeMissingComesLast) {
  run->miss("z", "reason");
  EXPECT_THAT(run->missing(), ElementsAre(MissingThing{"a", kLate}, MissingThing{"z", "reason"}));
}

TEST_F(Watch, AfterTheOpeningNothingIsDelivered) {
  class Nobody : public NSWorkspace {
   public:
    bool openURLs(const std::vector<NSURL>&, std::string_view, unsigned) override { return true; }
  } nobody;
  run->open({}, "application", 0, nobody);
  run->deliver(thing, [] { ADD_FAILURE(); });
  run->deliverStaged(thing, [&] { EXPECT_FALSE(run->commit()); });
  run->fail(thing, "x", [] { ADD_FAILURE(); });
  EXPECT_THAT(run->missing(), ElementsAre(MissingThing{"a", kLate}));
  EXPECT_EQ(run->launch()->application, "application");
  EXPECT_TRUE(run->launch()->accepted);
}

TEST_F(Watch, ThingsComeInOnlyWhileTheJobSleeps) {
  run->fallAsleep();
  run->wakeUp();
  std::atomic<bool> isIn = false;
  std::thread loader([&] { run->deliver(thing, [&] { isIn = true; }); });
  EXPECT_FALSE(isIn);
  run->fallAsleep();
  loader.join();
  EXPECT_TRUE(isIn);
}

TEST_F(Watch, TheJobWaitsForWhatHasComeIn) {
  run->fallAsleep();
  std::atomic<bool> isCommitted = false, isIn = false;
  std::thread loader([&] {
    run->deliver(thing, [&] {
      isCommitted = true;
      std::this_thread::yield();
      isIn = true;
    });
  });
  while (!isCommitted) std::this_thread::yield();
  run->wakeUp();
  EXPECT_TRUE(isIn);
  loader.join();
}

TEST_F(Watch, AScopeLastsAsLongAsItLives) {
  EXPECT_EQ(RunScope::current(), nullptr);
  {
    const RunScope scope(run, true);
    EXPECT_EQ(RunScope::current(), run);
    EXPECT_TRUE(RunScope::isBackgroundJob());
    std::thread([] { EXPECT_EQ(RunScope::current(), nullptr); }).join();
    const RunScope inner(run);
    EXPECT_FALSE(RunScope::isBackgroundJob());
  }
  EXPECT_EQ(RunScope::current(), nullptr);
  EXPECT_FALSE(RunScope::isBackgroundJob());
}

TEST_F(Watch, JobsAreWaitedForAndCounted) {
  run->waitForBackground();
  run->jobQueued(true);
  run->jobQueued(false);
  std::thread job([&] { run->jobEnded(true); });
  run->waitForBackground();
  job.join();
  EXPECT_TRUE(run->isBusy());
  run->jobEnded(false);
  EXPECT_FALSE(run->isBusy());
}

TEST(MissingThing, IsALine) {
  EXPECT_EQ(lineOf({"contract.pdf", "No such file or directory"}),
            "contract.pdf is not in the message: No such file or directory");
}

TEST_F(Watch, WhatWasOpenedHasASourceAndKeepsItsName) {
  run->setOpened("/docs/a", "/proc/self/fd/7");
  run->setOpened("/docs/b", "/proc/self/fd/70");
  EXPECT_EQ(run->sourceOf("/docs/a"), "/proc/self/fd/7");
  EXPECT_EQ(run->sourceOf("/docs/c"), "/docs/c");
  EXPECT_EQ(run->knownPath("/proc/self/fd/7"), "/docs/a");
  EXPECT_EQ(run->knownPath("/proc/self/fd/70/x/y"), "/docs/b/x/y");
  EXPECT_EQ(run->knownPath("/proc/self/fd/71"), "/proc/self/fd/71");
}

}  // namespace
}  // namespace korvane
