#include "linux/detail/ProgramOutput.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "linux/detail/FileDescriptor.h"
#include "linux/detail/GLibPointer.h"
#include "linux/detail/Process.h"

namespace korvane {
namespace {

constexpr std::size_t kMaxErrors = std::size_t{64} << 10;

/// Adds what can be read at once; closes the stream at its end.
void readSome(FileDescriptor& stream, std::string& to, std::size_t maxSize) {
  std::array<char, std::size_t{64} << 10> piece;
  const ssize_t got = ::read(stream.get(), piece.data(), piece.size());
  if (got < 0 && errno == EINTR) return;
  if (got <= 0) {
    stream = FileDescriptor();
    return;
  }
  const std::size_t room = maxSize - std::min(to.size(), maxSize);
  to.append(piece.data(), std::min(static_cast<std::size_t>(got), room));
}

}  // namespace

std::optional<ProgramOutput> outputOfProgram(std::vector<std::string> command,
                                             std::chrono::milliseconds maxTime,
                                             std::size_t maxSize) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + maxTime;
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (std::string& argument : command) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  constexpr auto kFlags = static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_DO_NOT_REAP_CHILD |
                                                   G_SPAWN_CLOEXEC_PIPES);
  GPid number = 0;
  int outputEnd = -1;
  int errorsEnd = -1;
  if (command.empty() ||
      !g_spawn_async_with_pipes(nullptr, arguments.data(), nullptr, kFlags, nullptr, nullptr,
                                &number, nullptr, &outputEnd, &errorsEnd, nullptr)) {
    return std::nullopt;
  }
  Process process(number);
  FileDescriptor output(outputEnd);
  FileDescriptor errors(errorsEnd);
  ProgramOutput result;
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) return std::nullopt;
    // A program may close its streams and go on.
    const bool isOpen = output || errors;
    pollfd events[] = {{output.get(), POLLIN, 0},
                       {errors.get(), POLLIN, 0},
                       {isOpen ? -1 : process.watch(), POLLIN, 0}};
    const bool isWatched = isOpen || process.watch() >= 0;
    if (!isWatched && process.hasEnded()) break;
    const auto pause = isWatched ? left : std::min(left, Process::kPause);
    const int ready = poll(events, std::size(events), static_cast<int>(pause.count()));
    if (ready < 0 && errno != EINTR) return std::nullopt;
    if (ready <= 0) continue;
    if (events[0].revents != 0) readSome(output, result.output, maxSize + 1);
    if (result.output.size() > maxSize) return std::nullopt;
    if (events[1].revents != 0) readSome(errors, result.errors, kMaxErrors);
    if (events[2].revents != 0) break;
  }
  result.succeeded = process.status() == 0;
  return result;
}

}  // namespace korvane
