#include "compose/DocumentsPortal.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <gio/gunixfdlist.h>

#include "linux/detail/FileDescriptor.h"
#include "linux/detail/GLibPointer.h"
#include "linux/detail/SessionBus.h"

namespace korvane {
namespace {

constexpr int kTimeout = 30'000;
// Gives the file the identifier that it got before, if it got one.
constexpr guint32 kReuseExisting = 1;

}  // namespace

std::optional<std::string> documentFor(const std::string& path, const std::string& application) {
  const FileDescriptor file(::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  GErrorSlot ignored;
  const auto bus = connectToSessionBus(kBusPatience, ignored);
  if (!file || !bus) return std::nullopt;
  const GObjectPointer<GUnixFDList> files(g_unix_fd_list_new());
  const int index = g_unix_fd_list_append(files.get(), file.get(), nullptr);
  if (index < 0) return std::nullopt;

  GVariantBuilder handles;
  g_variant_builder_init(&handles, G_VARIANT_TYPE("ah"));
  g_variant_builder_add(&handles, "h", index);
  const char* const permissions[] = {"read", nullptr};
  const GPointer<GVariant> answer(g_dbus_connection_call_with_unix_fd_list_sync(
      bus.get(), "org.freedesktop.portal.Documents", "/org/freedesktop/portal/documents",
      "org.freedesktop.portal.Documents", "AddFull",
      g_variant_new("(ahus^as)", &handles, kReuseExisting, application.c_str(), permissions),
      G_VARIANT_TYPE("(asa{sv})"), G_DBUS_CALL_FLAGS_NONE, kTimeout, files.get(), nullptr, nullptr,
      nullptr));
  if (!answer) return std::nullopt;

  const GPointer<GVariant> identifiers(g_variant_get_child_value(answer.get(), 0));
  const GPointer<GVariant> extra(g_variant_get_child_value(answer.get(), 1));
  if (g_variant_n_children(identifiers.get()) != 1) return std::nullopt;
  const GPointer<GVariant> identifier(g_variant_get_child_value(identifiers.get(), 0));
  const char* mountPoint = nullptr;
  if (!g_variant_lookup(extra.get(), "mountpoint", "^&ay", &mountPoint)) return std::nullopt;
  return std::string(mountPoint) + "/" + g_variant_get_string(identifier.get(), nullptr) +
         path.substr(path.rfind('/'));
}

}  // namespace korvane
