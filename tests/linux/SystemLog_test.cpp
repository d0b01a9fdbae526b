#include "linux/detail/SystemLog.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/NSString.h"

namespace {

struct Entry {
  int priority;
  std::string text;
};
std::mutex entriesMutex;
std::vector<Entry> entries;

void record(int priority, const char* format, va_list arguments) {
  char text[20000];
  std::vsnprintf(text, sizeof text, format, arguments);
  std::lock_guard lock(entriesMutex);
  entries.push_back({priority, text});
}

}  // namespace

// In the place of the C library's, so that a test reads what would go into the system's log.
extern "C" {
void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  record(priority, format, arguments);
  va_end(arguments);
}
void __syslog_chk(int priority, int, const char* format, ...) {  // NOLINT: the C library's name
  va_list arguments;
  va_start(arguments, format);
  record(priority, format, arguments);
  va_end(arguments);
}
}

namespace korvane {
namespace {

using ::testing::ElementsAre;

struct SystemLogTest : ::testing::Test {
  SystemLogTest() { entries.clear(); }
  static std::vector<std::string> logged() {
    std::vector<std::string> texts;
    for (const Entry& entry : entries) texts.push_back(entry.text);
    return texts;
  }
};

TEST_F(SystemLogTest, TheSystemLogGetsEachLine) {
  SystemLog log;
  log.write("[***ERROR***] shareInit delete %s %n 100%");
  log.write("");
  EXPECT_THAT(logged(), ElementsAre("[***ERROR***] shareInit delete %s %n 100%", ""));
  EXPECT_EQ(entries[0].priority, LOG_USER | LOG_NOTICE);
}

TEST_F(SystemLogTest, StandardErrorGetsItWhereAsked) {
  ::testing::internal::CaptureStderr();
  SystemLog({.standardError = true}).write("a line");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "a line\n");
  ::testing::internal::CaptureStderr();
  SystemLog().write("a line");  // captured: no terminal
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_THAT(logged(), ElementsAre("a line", "a line"));
}

TEST_F(SystemLogTest, StandardErrorGetsItWhenItIsATerminal) {
  const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_GE(terminal, 0);
  ASSERT_EQ(::grantpt(terminal), 0);
  ASSERT_EQ(::unlockpt(terminal), 0);
  const int side = ::open(::ptsname(terminal), O_RDWR | O_NOCTTY);
  ASSERT_GE(side, 0);
  const int before = ::dup(STDERR_FILENO);
  ::dup2(side, STDERR_FILENO);
  SystemLog().write("on a terminal");
  ::dup2(before, STDERR_FILENO);
  char text[100] = {};
  const ssize_t count = ::read(terminal, text, sizeof text - 1);
  EXPECT_EQ(std::string(text, static_cast<std::size_t>(std::max<ssize_t>(count, 0))),
            "on a terminal\r\n");
  ::close(side);
  ::close(terminal);
  ::close(before);
}

TEST_F(SystemLogTest, OneCallIsOneHarmlessLine) {
  const std::pair<std::string, std::string> rows[] = {
      {"plain \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80",
       "plain \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"},
      {"a\nb\r\nc", "a<U+000A>b<U+000D><U+000A>c"},
      {"tab\there", "tab\there"},
      {"\x1b[31mred", "<U+001B>[31mred"},
      {std::string("nul\0byte", 8), "nul<U+0000>byte"},
      {"\xE2\x80\xA8 \xE2\x80\xAE", "<U+2028> <U+202E>"},
      {"caf\xE9", "caf\xEF\xBF\xBD"},
      {"back\\slash", "back\\slash"},
  };
  for (const auto& [text, want] : rows) {
    ::testing::internal::CaptureStderr();
    SystemLog({.standardError = true}).write(text);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), want + "\n");
    EXPECT_EQ(logged().back(), want);
  }
}

TEST_F(SystemLogTest, LongLinesAreCutForTheSystemLogAlone) {
  std::string text = "x";
  for (int i = 0; i < 10000; ++i) text += "\xC3\xA9";
  ::testing::internal::CaptureStderr();
  SystemLog({.standardError = true}).write(text);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), text + "\n");
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].text, text.substr(0, 7999));
}

TEST_F(SystemLogTest, LinesOfThreadsDoNotMix) {
  SystemLog log({.standardError = true});
  ::testing::internal::CaptureStderr();
  std::vector<std::thread> threads;
  for (char letter : {'a', 'b', 'c', 'd'}) {
    threads.emplace_back([&log, letter] {
      for (int i = 0; i < 100; ++i) log.write(std::string(500, letter));
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::string text = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(text.size(), 400U * 501U);
  for (std::size_t i = 0; i + 501 <= text.size(); i += 501) {
    EXPECT_EQ(text.substr(i, 501), std::string(500, text[i]) + "\n");
  }
  EXPECT_EQ(entries.size(), 400U);
}

}  // namespace
}  // namespace korvane
