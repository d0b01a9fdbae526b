#pragma once

#include <exception>
#include <functional>
#include <string>
#include <string_view>

#include "host/CommandLine.h"

namespace korvane {

// The exit statuses.
inline constexpr int kDone = 0;
/// One line on standard error says why.
inline constexpr int kFailed = 1;
/// Wrong usage, or input that cannot be read.
inline constexpr int kUsage = 2;

/// What is the same in every program. Opens standard streams that are closed on the null device,
/// so that no file of ours gets their numbers; has writing beyond a limit or to a closed pipe fail
/// with an error, not end the process; chooses the user's language. Then takes the command line
/// apart, prints what --help and --version ask for, and else does the work, whose result is the
/// exit status. An InputError is told with a hint at --help (kUsage), any other exception with its
/// text, memory that is not enough with a line (kFailed).
int runProgram(const CommandLine& line, int argc, char* argv[], const std::function<int()>& work);

/// Writes a line "PROGRAM: LINE" to standard error, made safe for a terminal. Needs no memory where
/// there is none. Gives the status.
int fail(std::string_view program, int status, std::string_view line) noexcept;

/// What an exception tells people: its text, or plain words where no thread could be started.
std::string textOf(const std::exception& error);

/// Writes the text to standard output, at once. Throws std::system_error where it cannot be
/// written.
void writeOut(std::string_view text);

}  // namespace korvane
