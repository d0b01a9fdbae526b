#include "compose/DesktopExec.h"

#include <glib.h>

#include "linux/detail/GLibPointer.h"

namespace korvane {
namespace {

/// Terminals and what they want before a command.
struct Terminal {
  const char* program;
  const char* option;
};
constexpr Terminal kTerminals[] = {
    {"xdg-terminal-exec", ""},
    {"x-terminal-emulator", "-e"},
    {"gnome-terminal", "--"},
    {"konsole", "-e"},
    {"xfce4-terminal", "-x"},
    {"mate-terminal", "-x"},
    {"alacritty", "-e"},
    {"foot", ""},
    {"kitty", ""},
    {"xterm", "-e"},
    {"urxvt", "-e"},
};

std::string pathOf(const std::string& url) {
  const GPointer<char> path(g_filename_from_uri(url.c_str(), nullptr, nullptr));
  return path ? path.get() : url;
}

}  // namespace

std::optional<std::vector<std::string>> commandInTerminal(std::vector<std::string> command) {
  for (const auto& [program, option] : kTerminals) {
    const GPointer<char> path(g_find_program_in_path(program));
    if (!path) continue;
    std::vector<std::string> whole{path.get()};
    if (*option) whole.emplace_back(option);
    whole.insert(whole.end(), command.begin(), command.end());
    return whole;
  }
  return std::nullopt;
}

std::optional<std::vector<std::string>> commandOfEntry(const InstalledClient& client,
                                                       const std::string& url) {
  std::vector<std::string> command;
  bool placed = false;
  for (const std::string& word : client.exec) {
    if (word == "%i") {
      if (!client.icon.empty()) command.insert(command.end(), {"--icon", client.icon});
      continue;
    }
    std::string argument;
    bool empty = !word.empty();  // a word of codes that give nothing is not an argument
    for (std::size_t at = 0; at < word.size(); ++at) {
      if (word[at] != '%' || at + 1 == word.size()) {
        argument += word[at];
        empty = false;
        continue;
      }
      const char code = word[++at];
      if (code == 'u' || code == 'U' || code == 'f' || code == 'F') {
        argument += code == 'u' || code == 'U' ? url : pathOf(url);
        placed = true;
      } else if (code == 'c') {
        argument += client.name;
      } else if (code == 'k') {
        argument += client.entryPath;
      } else if (code == '%') {
        argument += '%';
      } else {
        continue;
      }
      empty = false;
    }
    if (!empty) command.push_back(argument);
  }
  if (!placed) command.push_back(url);
  return client.terminal ? commandInTerminal(command) : std::optional(command);
}

}  // namespace korvane
