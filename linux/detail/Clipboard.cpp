#include "linux/detail/Clipboard.h"

#include <gio/gio.h>
#include <gio/gunixinputstream.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "linux/detail/GLibPointer.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

using Milliseconds = std::chrono::milliseconds;
constexpr Milliseconds kMaxListing{5'000};
constexpr Milliseconds kMaxReading{30'000};
constexpr std::size_t kMaxTypeNames = std::size_t{64} << 10;

using Command = std::vector<std::string>;

bool isSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

bool isInstalled(const char* program) {
  return GPointer<char>(g_find_program_in_path(program)) != nullptr;
}

/// What a program writes to standard output. Nothing where it fails, writes more than `maxSize` or
/// takes longer than `maxTime`; it is ended then.
std::optional<std::string> outputOf(const Command& command, std::size_t maxSize,
                                    Milliseconds maxTime) {
  std::vector<const char*> arguments;
  for (const std::string& argument : command) arguments.push_back(argument.c_str());
  arguments.push_back(nullptr);
  const GObjectPointer<GSubprocess> process(
      g_subprocess_newv(arguments.data(),
                        static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_PIPE |
                                                      G_SUBPROCESS_FLAGS_STDERR_SILENCE),
                        nullptr));
  if (!process) return std::nullopt;

  GInputStream* stream = g_subprocess_get_stdout_pipe(process.get());
  auto* pollable = G_POLLABLE_INPUT_STREAM(stream);
  const auto end = std::chrono::steady_clock::now() + maxTime;
  std::string output;
  bool isComplete = false;
  std::array<char, std::size_t{64} << 10> piece{};
  while (output.size() <= maxSize) {
    const auto left =
        std::chrono::duration_cast<Milliseconds>(end - std::chrono::steady_clock::now());
    GPollFD poll{g_unix_input_stream_get_fd(G_UNIX_INPUT_STREAM(stream)), G_IO_IN, 0};
    if (left.count() <= 0 || g_poll(&poll, 1, static_cast<gint>(left.count())) <= 0) break;
    const gssize got = g_pollable_input_stream_read_nonblocking(pollable, piece.data(),
                                                                piece.size(), nullptr, nullptr);
    if (got == 0) isComplete = true;
    if (got <= 0) break;
    output.append(piece.data(), static_cast<std::size_t>(got));
  }
  if (!isComplete) g_subprocess_force_exit(process.get());
  g_subprocess_wait(process.get(), nullptr, nullptr);
  if (!isComplete || !g_subprocess_get_successful(process.get())) return std::nullopt;
  return output;
}

/// A clipboard behind a program: `list` writes the types line by line, `paste` with the type behind
/// it writes what there is of that type.
class ProgramClipboard : public Clipboard {
 public:
  ProgramClipboard(Command list, Command paste)
      : list_(std::move(list)), paste_(std::move(paste)) {}

  std::vector<std::string> types() override {
    std::vector<std::string> found;
    const std::string lines = outputOf(list_, kMaxTypeNames, kMaxListing).value_or("");
    for (std::size_t at = 0; at < lines.size();) {
      const std::size_t lineEnd = std::min(lines.find('\n', at), lines.size());
      if (lineEnd > at) found.push_back(lines.substr(at, lineEnd - at));
      at = lineEnd + 1;
    }
    return found;
  }

  std::optional<std::string> read(const std::string& type, std::size_t maxSize) override {
    Command command = paste_;
    command.push_back(type);
    return outputOf(command, maxSize, kMaxReading);
  }

 private:
  const Command list_;
  const Command paste_;
};

}  // namespace

std::unique_ptr<Clipboard> Clipboard::ofSession(std::string& reason) {
  // Under Wayland the X11 clipboard is a copy of its own, and may be an older one.
  if (isSet("WAYLAND_DISPLAY") && isInstalled("wl-paste")) {
    return std::make_unique<ProgramClipboard>(Command{"wl-paste", "--list-types"},
                                              Command{"wl-paste", "--no-newline", "--type"});
  }
  if (isSet("DISPLAY") && isInstalled("xclip")) {
    return std::make_unique<ProgramClipboard>(
        Command{"xclip", "-selection", "clipboard", "-out", "-target", "TARGETS"},
        Command{"xclip", "-selection", "clipboard", "-out", "-target"});
  }
  if (isSet("WAYLAND_DISPLAY")) {
    reason = translated(
        "the clipboard cannot be read: wl-paste is not installed (package wl-clipboard)");
  } else if (isSet("DISPLAY")) {
    reason = translated("the clipboard cannot be read: xclip is not installed (package xclip)");
  } else {
    reason = translated("the clipboard cannot be read: this is not a graphical session");
  }
  return nullptr;
}

}  // namespace korvane
