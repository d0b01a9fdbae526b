#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "platform/Export.h"

namespace korvane {

/// What a program that has ended wrote.
struct ProgramOutput {
  std::string output;
  std::string errors;
  /// Whether its exit status is 0.
  bool succeeded = false;
};

/// Runs a program to its end: its name, looked for in PATH where it holds no "/", and its
/// arguments. It reads nothing. Nothing where it cannot be started, writes more than `maxSize`
/// bytes to its standard output or takes longer than `maxTime`; it is killed then. Of its standard
/// error the first 64 KiB are kept. Any thread may call.
KORVANE_EXPORT std::optional<ProgramOutput> outputOfProgram(std::vector<std::string> command,
                                                            std::chrono::milliseconds maxTime,
                                                            std::size_t maxSize = std::size_t{64}
                                                                                  << 10);

}  // namespace korvane
