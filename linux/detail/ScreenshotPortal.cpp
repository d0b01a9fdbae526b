#include "linux/detail/ScreenshotPortal.h"

#include <gio/gio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

#include "linux/detail/GLibPointer.h"
#include "linux/detail/SessionBus.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

constexpr const char* kPortal = "org.freedesktop.portal.Desktop";
constexpr const char* kObject = "/org/freedesktop/portal/desktop";
constexpr const char* kInterface = "org.freedesktop.portal.Screenshot";
constexpr int kMaxCall = 10'000;  // milliseconds until the portal has taken the request

/// A main context for the signals of one request.
class OwnContext {
 public:
  OwnContext() : context_(g_main_context_new()) { g_main_context_push_thread_default(context_); }
  ~OwnContext() {
    g_main_context_pop_thread_default(context_);
    g_main_context_unref(context_);
  }
  OwnContext(const OwnContext&) = delete;
  OwnContext& operator=(const OwnContext&) = delete;

  GMainContext* get() const { return context_; }

 private:
  GMainContext* context_;
};

struct Waiting {
  std::optional<std::uint32_t> response;
  std::string uri;
  bool portalIsGone = false;

  bool isOver() const { return response || portalIsGone; }
};

void onResponse(GDBusConnection*, const char*, const char*, const char*, const char*,
                GVariant* parameters, void* data) {
  auto& waiting = *static_cast<Waiting*>(data);
  guint32 response = 0;
  GVariant* results = nullptr;
  if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ua{sv})"))) return;
  g_variant_get(parameters, "(u@a{sv})", &response, &results);
  const GPointer<GVariant> owned(results);
  const char* uri = nullptr;
  if (g_variant_lookup(results, "uri", "&s", &uri)) waiting.uri = uri;
  waiting.response = response;
}

void onOwnerChanged(GDBusConnection*, const char*, const char*, const char*, const char*,
                    GVariant* parameters, void* data) {
  const char* newOwner = nullptr;
  if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sss)"))) return;
  g_variant_get(parameters, "(&s&s&s)", nullptr, nullptr, &newOwner);
  if (*newOwner == '\0') static_cast<Waiting*>(data)->portalIsGone = true;
}

/// The path of the request's object, which the portal derives from the caller's name.
std::string requestPath(GDBusConnection* connection, const std::string& token) {
  std::string sender = g_dbus_connection_get_unique_name(connection);
  sender.erase(0, 1);
  std::replace(sender.begin(), sender.end(), '.', '_');
  return "/org/freedesktop/portal/desktop/request/" + sender + "/" + token;
}

NoScreenshot failed(const std::string& reason) {
  return {false, translated("there is no picture of the screen: {0}", reason)};
}

}  // namespace

std::variant<std::string, NoScreenshot> takeScreenshot(std::chrono::milliseconds patience) {
  const OwnContext context;
  GErrorSlot error;
  const auto connection = connectToSessionBus(patience, error);
  if (!connection) return failed(translated("the session bus cannot be reached"));

  Waiting waiting;
  const std::string token = "korvane" + std::to_string(::getpid());
  const std::string path = requestPath(connection.get(), token);
  g_dbus_connection_signal_subscribe(connection.get(), kPortal, "org.freedesktop.portal.Request",
                                     "Response", path.c_str(), nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                     onResponse, &waiting, nullptr);
  g_dbus_connection_signal_subscribe(connection.get(), "org.freedesktop.DBus",
                                     "org.freedesktop.DBus", "NameOwnerChanged",
                                     "/org/freedesktop/DBus", kPortal, G_DBUS_SIGNAL_FLAGS_NONE,
                                     onOwnerChanged, &waiting, nullptr);
  GVariantBuilder options;
  g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
  g_variant_builder_add(&options, "{sv}", "handle_token", g_variant_new_string(token.c_str()));
  g_variant_builder_add(&options, "{sv}", "interactive", g_variant_new_boolean(TRUE));
  const GPointer<GVariant> answer(
      g_dbus_connection_call_sync(connection.get(), kPortal, kObject, kInterface, "Screenshot",
                                  g_variant_new("(sa{sv})", "", &options), G_VARIANT_TYPE("(o)"),
                                  G_DBUS_CALL_FLAGS_NONE, kMaxCall, nullptr, nullptr));
  if (!answer) return failed(translated("the desktop has no portal for it (xdg-desktop-portal)"));

  while (!waiting.isOver() && !g_dbus_connection_is_closed(connection.get())) {
    g_main_context_iteration(context.get(), TRUE);
  }
  if (!waiting.response) return failed(translated("the desktop's portal ended"));
  if (*waiting.response == 1)
    return NoScreenshot{true, translated("no picture of the screen was taken")};
  const GPointer<char> file(g_filename_from_uri(waiting.uri.c_str(), nullptr, nullptr));
  if (*waiting.response != 0 || !file) return failed(translated("the desktop could not take it"));
  return std::string(file.get());
}

}  // namespace korvane
