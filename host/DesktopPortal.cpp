#include "host/DesktopPortal.h"

#include <gio/gio.h>

#include <charconv>
#include <chrono>
#include <memory>
#include <string_view>
#include <vector>

#include "linux/detail/GLibPointer.h"
#include "linux/detail/ProgramOutput.h"
#include "text/ASCII.h"

namespace korvane {
namespace {

constexpr const char* kService = "dbus-1/services/org.freedesktop.portal.Desktop.service";
constexpr std::chrono::seconds kPatience{10};

/// The command line by which the bus starts the portal; nothing where none is installed.
GPointer<char> portalCommand() {
  std::vector<std::string> folders{g_get_user_data_dir()};
  for (const char* const* folder = g_get_system_data_dirs(); *folder; ++folder) {
    folders.emplace_back(*folder);
  }
  for (const std::string& folder : folders) {
    const std::unique_ptr<GKeyFile, decltype(&g_key_file_unref)> file(g_key_file_new(),
                                                                      &g_key_file_unref);
    if (!g_key_file_load_from_file(file.get(), (folder + "/" + kService).c_str(), G_KEY_FILE_NONE,
                                   nullptr)) {
      continue;
    }
    return GPointer<char>(g_key_file_get_string(file.get(), "D-BUS Service", "Exec", nullptr));
  }
  return {};
}

}  // namespace

std::optional<std::string> desktopPortalVersion() {
  const GPointer<char> command = portalCommand();
  int count = 0;
  char** words = nullptr;
  if (!command || !g_shell_parse_argv(command.get(), &count, &words, nullptr)) return std::nullopt;
  const std::string program = words[0];
  g_strfreev(words);
  const auto told = outputOfProgram({program, "--version"}, kPatience);
  if (!told) return std::nullopt;
  const std::string_view text = told->output;
  const std::size_t begin = text.find_first_of("0123456789");
  if (begin == std::string_view::npos) return std::nullopt;
  const std::size_t end = text.find_first_not_of("0123456789.", begin);
  return std::string(text.substr(begin, end - begin));
}

bool readsPortalsConf(const std::string& version) {
  int major = 0;
  int minor = 0;
  const char* const end = version.data() + version.size();
  const auto first = std::from_chars(version.data(), end, major);
  if (first.ec != std::errc() || first.ptr == end || *first.ptr != '.') return true;
  if (std::from_chars(first.ptr + 1, end, minor).ec != std::errc()) return true;
  constexpr int kFirstMinor = 17;  // what led to 1.18
  return major > 1 || (major == 1 && minor >= kFirstMinor);
}

}  // namespace korvane
