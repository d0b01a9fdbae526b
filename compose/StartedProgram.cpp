#include "compose/StartedProgram.h"

#include <gio/gio.h>
#include <unistd.h>

#include <memory>

#include "linux/detail/GLibPointer.h"

namespace korvane {
namespace {

struct Free {
  void operator()(char** texts) const { g_strfreev(texts); }
};

}  // namespace

std::optional<std::string> startProgram(const std::vector<std::string>& command,
                                        const Activation& activation) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  std::unique_ptr<char*, Free> environment(g_get_environ());
  const auto pass = [&](const char* name, const std::optional<std::string>& value) {
    char** const before = environment.release();
    environment.reset(value ? g_environ_setenv(before, name, value->c_str(), TRUE)
                            : g_environ_unsetenv(before, name));
  };
  pass("XDG_ACTIVATION_TOKEN", activation.token);
  pass("DESKTOP_STARTUP_ID", activation.startupId);

  const auto flags = static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_STDOUT_TO_DEV_NULL |
                                              G_SPAWN_STDERR_TO_DEV_NULL);
  const auto leaveTerminal = [](gpointer) { setsid(); };
  GErrorSlot error;
  if (g_spawn_async(g_get_home_dir(), arguments.data(), environment.get(), flags, leaveTerminal,
                    nullptr, nullptr, error.out())) {
    return std::nullopt;
  }
  return error.message();
}

}  // namespace korvane
