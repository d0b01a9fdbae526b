#include "linux/detail/ProgramOutput.h"

#include <gtest/gtest.h>

#include <string>

namespace korvane {
namespace {

constexpr std::chrono::minutes kLong{5};

std::vector<std::string> shell(const std::string& script) { return {"/bin/sh", "-c", script}; }

TEST(ProgramOutput, BothStreamsAndTheEnd) {
  const auto told = outputOfProgram(shell("cat; printf tea; printf cake >&2"), kLong);
  ASSERT_TRUE(told);
  EXPECT_EQ(told->output, "tea");
  EXPECT_EQ(told->errors, "cake");
  EXPECT_TRUE(told->succeeded);
}

TEST(ProgramOutput, AFailureIsTold) {
  for (const char* script : {"printf tea; exit 3", "printf tea; kill -9 $$"}) {
    const auto told = outputOfProgram(shell(script), kLong);
    ASSERT_TRUE(told) << script;
    EXPECT_EQ(told->output, "tea");
    EXPECT_FALSE(told->succeeded) << script;
  }
}

TEST(ProgramOutput, ANameIsLookedForInThePath) {
  const auto told = outputOfProgram({"printf", "%s|", "a b", "", "$HOME"}, kLong);
  ASSERT_TRUE(told);
  EXPECT_EQ(told->output, "a b||$HOME|");
}

TEST(ProgramOutput, WhatCannotBeStartedSaysNothing) {
  EXPECT_FALSE(outputOfProgram({"/nonexistent/program"}, kLong));
  EXPECT_FALSE(outputOfProgram({"korvane-no-such-program"}, kLong));
  EXPECT_FALSE(outputOfProgram({""}, kLong));
  EXPECT_FALSE(outputOfProgram({}, kLong));
}

TEST(ProgramOutput, OutputIsBounded) {
  EXPECT_EQ(outputOfProgram(shell("printf 1234"), kLong, 4)->output, "1234");
  EXPECT_FALSE(outputOfProgram(shell("printf 12345"), kLong, 4));
  EXPECT_EQ(outputOfProgram(shell(""), kLong, 0)->output, "");
  // Endless, until nobody reads it any more.
  EXPECT_FALSE(outputOfProgram({"yes"}, kLong));
}

TEST(ProgramOutput, ErrorsAreCutOffAndNoFailure) {
  const auto told = outputOfProgram(shell("head -c 1000000 /dev/zero >&2; printf tea"), kLong, 3);
  ASSERT_TRUE(told);
  EXPECT_EQ(told->output, "tea");
  EXPECT_EQ(told->errors.size(), 65'536U);
}

// Neither a program that says nothing nor one that has closed its streams is waited for for ever.
TEST(ProgramOutput, WhatTakesTooLongIsKilled) {
  constexpr std::chrono::milliseconds kShort{200};
  EXPECT_FALSE(outputOfProgram({"sleep", "1000"}, kShort));
  EXPECT_FALSE(outputOfProgram(shell("exec >&- 2>&-; exec sleep 1000"), kShort));
}

}  // namespace
}  // namespace korvane
