#include "linux/detail/Clipboard.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "linux/detail/GLibPointer.h"
#include "linux/detail/ProgramOutput.h"
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

/// What a program that succeeds writes to standard output.
std::optional<std::string> outputOf(const Command& command, std::size_t maxSize,
                                    Milliseconds maxTime) {
  auto told = outputOfProgram(command, maxTime, maxSize);
  if (!told || !told->succeeded) return std::nullopt;
  return std::move(told->output);
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
