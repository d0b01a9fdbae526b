#include "host/Interruption.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

TEST(Interruption, WorkIsDoneAndTheSignalEndsTheProcess) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const testing::TemporaryFolder folder;
    const int status = testing::inChild([&] {
      std::signal(signal, SIG_DFL);
      const Interruption interruption([&] { folder.file("done"); });
      ::kill(::getpid(), signal);
      for (;;) ::pause();
      return true;
    });
    EXPECT_EQ(status, -signal);
    EXPECT_FALSE(testing::contentOf(folder.path("done")).empty() &&
                 ::access(folder.path("done").c_str(), F_OK) != 0);
  }
}

TEST(Interruption, WhatThrowsEndsTheProcessToo) {
  EXPECT_EQ(testing::inChild([] {
              std::signal(SIGTERM, SIG_DFL);
              const Interruption interruption([] { throw 1; });
              ::kill(::getpid(), SIGTERM);
              for (;;) ::pause();
              return true;
            }),
            -SIGTERM);
}

TEST(Interruption, AnIgnoredSignalStaysIgnored) {
  EXPECT_EQ(testing::inChild([] {
              std::signal(SIGHUP, SIG_IGN);
              bool isCalled = false;
              {
                const Interruption interruption([&] { isCalled = true; });
                ::raise(SIGHUP);
              }
              ::raise(SIGHUP);
              return !isCalled;
            }),
            0);
}

TEST(Interruption, ItsEndDoesNotHangOnAWriteThatFails) {
  EXPECT_EQ(testing::inChild([] {
              ::alarm(20);
              bool isCalled = false;
              {
                const Interruption interruption([&] { isCalled = true; });
                if (!testing::failCall(SYS_write, EIO)) return false;
              }
              return !isCalled;
            }),
            0);
}

TEST(Interruption, AfterwardsSignalsAreAsTheyWere) {
  EXPECT_EQ(testing::inChild([] {
              std::signal(SIGINT, SIG_DFL);
              {
                const Interruption interruption([] {});
              }
              {
                const Interruption again([] {});
              }
              ::raise(SIGINT);
              return true;
            }),
            -SIGINT);
}

}  // namespace
}  // namespace korvane
