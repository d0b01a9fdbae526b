#include "host/OutcomeReport.h"

#include <gmock/gmock.h>

namespace korvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Status = ShareOutcome::Status;

TEST(OutcomeLines, NothingIsSaidWhereAllIsWell) {
  EXPECT_THAT(outcomeLines({.status = Status::opened}), IsEmpty());
}

TEST(OutcomeLines, WhereNothingArrivesThereIsOneLine) {
  const std::vector<MissingThing> missing{{"a", "why"}, {"b", "so"}};
  EXPECT_THAT(outcomeLines({.status = Status::refused, .reason = "R"}),
              ElementsAre("R (see korvane-share --help)"));
  EXPECT_THAT(outcomeLines({.status = Status::notOpened, .reason = "R", .missing = missing}),
              ElementsAre("not handed over: R"));
  EXPECT_THAT(
      outcomeLines({.status = Status::opened, .missing = missing, .empty = true}),
      ElementsAre("nothing of what was given could be put into the message: a: why; b: so"));
}

TEST(OutcomeLines, EverythingThatIsMissingIsNamedOnce) {
  ShareOutcome outcome{.status = Status::opened, .missing = {{"a", "why", true}, {"b", "so"}}};
  EXPECT_THAT(outcomeLines(outcome), ElementsAre("b is not in the message: so"));
  outcome.missing.assign(20, {"x", "y"});
  EXPECT_THAT(outcomeLines(outcome), SizeIs(20));
  outcome.missing.assign(1234, {"x", "y"});
  EXPECT_THAT(outcomeLines(outcome), SizeIs(21));
  EXPECT_EQ(outcomeLines(outcome).back(), "1214 more are not in the message");
  outcome.empty = true;
  EXPECT_THAT(outcomeLines(outcome), ElementsAre(::testing::EndsWith("; x: y; and 1214 more")));
}

TEST(OutcomeJSON, SaysEverything) {
  EXPECT_EQ(outcomeJSON({}),
            "{\"status\": \"notOpened\", \"application\": null, "
            "\"missing\": []}\n");
  EXPECT_EQ(outcomeJSON({.status = Status::opened,
                         .application = "it.drelk.korvane",
                         .missing = {{"a\"\x1b", "why", true}, {"b", "so"}}}),
            "{\"status\": \"opened\", \"application\": \"it.drelk.korvane\", \"missing\": "
            "[{\"item\": \"a\\\"\\u001b\", \"reason\": \"why\"}, "
            "{\"item\": \"b\", \"reason\": \"so\"}]}\n");
  EXPECT_THAT(outcomeJSON({.status = Status::refused}), ::testing::HasSubstr("\"refused\""));
}

TEST(IsHandedOver, OnlyWhatAMailClientHas) {
  EXPECT_TRUE(isHandedOver({.status = Status::opened}));
  EXPECT_FALSE(isHandedOver({.status = Status::opened, .empty = true}));
  EXPECT_FALSE(isHandedOver({.status = Status::notOpened}));
  EXPECT_FALSE(isHandedOver({.status = Status::refused}));
}

}  // namespace
}  // namespace korvane
