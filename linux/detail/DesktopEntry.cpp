#include "linux/detail/DesktopEntry.h"

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>
#include <unistd.h>

#include "linux/detail/GLibPointer.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

/// The kernel's limit of one argument, its final NUL not counted.
constexpr std::size_t kMaxArgument = 131'071;

const char* const kGroup = G_KEY_FILE_DESKTOP_GROUP;

std::string notInstalled(std::string_view identifier) {
  return translated("no application {0} is installed", identifier);
}

/// The desktop entry of the identifier, the user's own before the system's.
GPointer<GKeyFile> findEntry(std::string_view identifier) {
  std::vector<const char*> folders{g_get_user_data_dir()};
  for (const char* const* folder = g_get_system_data_dirs(); *folder; ++folder) {
    folders.push_back(*folder);
  }
  folders.push_back(nullptr);
  const std::string name = "applications/" + std::string(identifier) + ".desktop";
  GPointer<GKeyFile> entry(g_key_file_new());
  if (!g_key_file_load_from_dirs(entry.get(), name.c_str(), folders.data(), nullptr,
                                 G_KEY_FILE_NONE, nullptr)) {
    return nullptr;
  }
  // Hidden is how a user takes an application of the system's away.
  if (g_key_file_get_boolean(entry.get(), kGroup, G_KEY_FILE_DESKTOP_KEY_HIDDEN, nullptr)) {
    return nullptr;
  }
  return entry;
}

/// Whether the Exec line has the field code.
bool takes(std::string_view exec, char code) {
  for (std::size_t i = 0; i + 1 < exec.size(); ++i) {
    if (exec[i] == '%' && exec[++i] == code) return true;
  }
  return false;
}

/// A URL as one word of an Exec line.
std::string execWord(const NSURL& url) {
  const GPointer<char> quoted(g_shell_quote(url.absoluteString().c_str()));
  std::string word;
  for (const char* c = quoted.get(); *c; ++c) {
    word += *c;
    if (*c == '%') word += '%';  // no field code
  }
  return word;
}

/// The Exec line with the URLs in the place of every "%u" and "%U". GIO would do this too, but it
/// also broadcasts the URLs that it is given, with the message in them, on the session bus.
std::string withUrls(std::string_view exec, const std::vector<NSURL>& urls) {
  std::string words;
  for (const NSURL& url : urls) words += (words.empty() ? "" : " ") + execWord(url);
  std::string result;
  while (!exec.empty()) {
    const std::size_t step = exec.front() == '%' && exec.size() > 1 ? 2 : 1;
    const std::string_view code = exec.substr(0, step);
    result += code == "%u" || code == "%U" ? std::string_view(words) : code;
    exec.remove_prefix(step);
  }
  return result;
}

std::optional<std::string> launch(GKeyFile* entry, const std::string& exec,
                                  const Activation& activation) {
  g_key_file_set_string(entry, kGroup, G_KEY_FILE_DESKTOP_KEY_EXEC, exec.c_str());
  const GObjectPointer<GDesktopAppInfo> application(g_desktop_app_info_new_from_keyfile(entry));
  if (!application) return translated("its desktop entry names a program that is not there");

  const GObjectPointer<GAppLaunchContext> context(g_app_launch_context_new());
  const auto pass = [&](const char* name, const std::optional<std::string>& value) {
    if (value) {
      g_app_launch_context_setenv(context.get(), name, value->c_str());
    } else {
      g_app_launch_context_unsetenv(context.get(), name);
    }
  };
  pass("XDG_ACTIVATION_TOKEN", activation.token);
  pass("DESKTOP_STARTUP_ID", activation.startupId);

  // GIO announces the launch on the shared connection, whose end would end this process.
  const GObjectPointer<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
  if (bus) g_dbus_connection_set_exit_on_close(bus.get(), FALSE);

  // Without our output: who waits for its end would otherwise wait for the application's.
  const auto flags = static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_STDOUT_TO_DEV_NULL |
                                              G_SPAWN_STDERR_TO_DEV_NULL);
  const auto leaveTerminal = [](gpointer) { setsid(); };
  GErrorSlot error;
  if (g_desktop_app_info_launch_uris_as_manager(application.get(), nullptr, context.get(), flags,
                                                leaveTerminal, nullptr, nullptr, nullptr,
                                                error.out())) {
    return std::nullopt;
  }
  // Other messages than those of spawning may quote the command line.
  if (error.isOf(G_SPAWN_ERROR)) return error.message();
  return translated("its desktop entry cannot be run");
}

}  // namespace

std::optional<std::string> launchDesktopEntry(std::string_view identifier,
                                              const std::vector<NSURL>& urls,
                                              const Activation& activation) {
  const GPointer<GKeyFile> entry = findEntry(identifier);
  if (!entry) return notInstalled(identifier);
  const auto because = [&](const std::string& why) {
    return translated("{0} cannot be started: {1}", identifier, why);
  };

  const GPointer<char> line(
      g_key_file_get_string(entry.get(), kGroup, G_KEY_FILE_DESKTOP_KEY_EXEC, nullptr));
  const std::string exec = line ? line.get() : "";
  if (!takes(exec, 'u') && !takes(exec, 'U'))
    return because(translated("its desktop entry takes no URLs"));
  for (const NSURL& url : urls) {
    if (url.absoluteString().size() > kMaxArgument) {
      return because(
          translated("the message makes a URL of {0} bytes, and a program can be given {1}",
                     std::to_string(url.absoluteString().size()), std::to_string(kMaxArgument)));
    }
  }
  // The entry was found to say how to run the program; the bus was tried.
  g_key_file_remove_key(entry.get(), kGroup, G_KEY_FILE_DESKTOP_KEY_DBUS_ACTIVATABLE, nullptr);

  if (takes(exec, 'U')) {
    const auto failure = launch(entry.get(), withUrls(exec, urls), activation);
    return failure ? std::optional(because(*failure)) : std::nullopt;
  }
  for (const NSURL& url : urls) {  // one program for each
    const auto failure = launch(entry.get(), withUrls(exec, {url}), activation);
    if (failure) return because(*failure);
  }
  return std::nullopt;
}

}  // namespace korvane
