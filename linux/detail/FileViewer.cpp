#include "linux/detail/FileViewer.h"

#include <gio/gio.h>

#include "linux/detail/GLibPointer.h"
#include "linux/detail/SessionBus.h"

namespace korvane {
namespace {

constexpr int kFileManagerTimeout = 10'000;

std::string uriOf(const std::string& path) {
  const GPointer<char> uri(g_filename_to_uri(path.c_str(), nullptr, nullptr));
  return uri ? uri.get() : std::string();
}

}  // namespace

bool showInFileManager(const std::string& path, const Activation& activation) {
  GErrorSlot error;
  const auto bus = connectToSessionBus(kBusPatience, error);
  if (bus) {
    // One file: with several, some file managers open a window for each.
    const std::string uri = uriOf(path);
    const std::string startupId = activation.startupId.value_or("");
    const char* const uris[] = {uri.c_str(), nullptr};
    const GPointer<GVariant> answer(g_dbus_connection_call_sync(
        bus.get(), "org.freedesktop.FileManager1", "/org/freedesktop/FileManager1",
        "org.freedesktop.FileManager1", "ShowItems",
        g_variant_new("(^ass)", uris, startupId.c_str()), nullptr, G_DBUS_CALL_FLAGS_NONE,
        kFileManagerTimeout, nullptr, nullptr));
    if (answer) return true;
  }
  const std::string folder = uriOf(path.substr(0, path.rfind('/') + 1));
  return g_app_info_launch_default_for_uri(folder.c_str(), nullptr, nullptr);
}

}  // namespace korvane
