#include "host/Program.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <new>
#include <system_error>

#include "host/InputError.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

using testing::inChild;

class ProgramTest : public ::testing::Test {
 protected:
  int run(const std::function<int()>& work, std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(), "a-program");
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const int status = runProgram(line, static_cast<int>(pointers.size()), pointers.data(), work);
    output = ::testing::internal::GetCapturedStdout();
    errors = ::testing::internal::GetCapturedStderr();
    return status;
  }
  CommandLine line{.program = "a-program",
                   .usage = {"X"},
                   .before = "",
                   .options = {},
                   .after = {},
                   .takeOther = [](const std::string&) {}};
  std::string output, errors;
};

TEST_F(ProgramTest, GivesTheStatusOfItsWork) {
  EXPECT_EQ(run([] { return 7; }), 7);
  EXPECT_EQ(run([] { return 7; }, {"--help"}), kDone);
  EXPECT_THAT(output, ::testing::StartsWith("Usage: a-program X\n"));
  EXPECT_EQ(run([] { return 7; }, {"--version"}), kDone);
  EXPECT_EQ(errors, "");
}

TEST_F(ProgramTest, WhatIsThrownHasItsLine) {
  EXPECT_EQ(run([]() -> int { throw InputError("no\x1b"); }), kUsage);
  EXPECT_EQ(errors, "a-program: no<U+001B> (see a-program --help)\n");
  EXPECT_EQ(run([]() -> int { throw std::bad_alloc(); }), kFailed);
  EXPECT_EQ(errors, "a-program: there is not enough memory\n");
  EXPECT_EQ(run([]() -> int { throw std::runtime_error("why"); }), kFailed);
  EXPECT_EQ(errors, "a-program: why\n");
  EXPECT_EQ(run([]() -> int {
              throw std::system_error(EAGAIN, std::generic_category());  // no thread, for one
            }),
            kFailed);
  EXPECT_EQ(errors,
            "a-program: there is not enough memory, or too many threads or files are open\n");
  EXPECT_EQ(run([] { return 7; }, {"--nonsense"}), kUsage);
}

// The status of a process that works with streams and limits of its own.
int statusOf(const CommandLine& line, const char* argument, const std::function<void()>& prepare,
             const std::function<int()>& work) {
  return inChild([&] {
    prepare();
    std::string name = "a-program", first = argument;
    char* arguments[] = {name.data(), first.data()};
    ::_exit(runProgram(line, 2, arguments, work));
    return true;
  });
}

TEST_F(ProgramTest, AClosedStreamIsNotAFileOfOurs) {
  const testing::TemporaryFolder folder;
  const std::string path = folder.path("file");
  const auto closeStreams = [] {
    for (const int stream : {0, 1, 2}) ::close(stream);
  };
  EXPECT_EQ(statusOf(line, "x", closeStreams,
                     [&] {
                       std::ofstream file(path);
                       file << "content" << std::flush;
                       writeOut("output");
                       return fail("a-program", 5, "an error");
                     }),
            5);
  EXPECT_EQ(testing::contentOf(path), "content");
}

TEST_F(ProgramTest, OutputThatCannotBeWrittenIsAFailure) {
  const auto fullDisk = [] { (void)!std::freopen("/dev/full", "w", stdout); };
  EXPECT_EQ(statusOf(line, "--help", fullDisk, [] { return 7; }), kFailed);
  EXPECT_EQ(statusOf(line, "--version", fullDisk, [] { return 7; }), kFailed);
  EXPECT_EQ(statusOf(line, "x", fullDisk,
                     [] {
                       writeOut("x");
                       return 7;
                     }),
            kFailed);
  const auto nobodyReads = [] {
    int ends[2];
    if (::pipe(ends) != 0) ::_exit(99);
    ::dup2(ends[1], STDOUT_FILENO);
    ::close(ends[0]);
  };
  EXPECT_EQ(statusOf(line, "--help", nobodyReads, [] { return 7; }), kFailed);
}

TEST_F(ProgramTest, ALimitOfFileSizesIsAnErrorAndNotTheEnd) {
  const testing::TemporaryFolder folder;
  EXPECT_EQ(statusOf(
                line, "x", [] { testing::setLimit(RLIMIT_FSIZE, 10); },
                [&] {
                  std::ofstream file(folder.path("file"));
                  file << "more than ten bytes" << std::flush;
                  return file.good() ? 7 : 8;
                }),
            8);
}

}  // namespace
}  // namespace korvane
