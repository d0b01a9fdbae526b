#pragma once

// A desktop of a test's own with its portal (xdg-desktop-portal), and a backend that stands in for
// the desktop's dialogue for pictures of the screen.

#include <gio/gio.h>

#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "support/PrivateDesktop.h"

namespace korvane::testing {

inline constexpr const char* kPortal = "/usr/libexec/xdg-desktop-portal";
inline constexpr const char* kScreenshotInterfaces = R"(
<node>
  <interface name="org.freedesktop.impl.portal.Screenshot">
    <method name="Screenshot">
      <arg type="o" direction="in"/><arg type="s" direction="in"/><arg type="s" direction="in"/>
      <arg type="a{sv}" direction="in"/>
      <arg type="u" direction="out"/><arg type="a{sv}" direction="out"/>
    </method>
  </interface>
  <interface name="org.freedesktop.portal.Documents">
    <method name="GetMountPoint"><arg type="ay" direction="out"/></method>
    <property name="version" type="u" access="read"/>
  </interface>
</node>)";

/// What the person in front of the dialogue does.
enum class Person { takes, declines, meetsAnError, losesThePortal };

/// What the desktop does when it is asked for a picture, in a thread of its own. And the documents
/// portal, without which the frontend does not start; the real one needs FUSE.
class ScreenshotBackend {
 public:
  ScreenshotBackend(Person person, std::string uri)
      : person_(person), uri_(std::move(uri)), thread_([this] { serve(); }) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return ready_; });
  }
  ~ScreenshotBackend() {
    g_main_loop_quit(loop_);
    thread_.join();
  }
  ScreenshotBackend(const ScreenshotBackend&) = delete;
  ScreenshotBackend& operator=(const ScreenshotBackend&) = delete;

  bool wasInteractive() {
    const std::lock_guard lock(mutex_);
    return interactive_;
  }

 private:
  static void onCall(GDBusConnection* bus, const char*, const char*, const char*,
                     const char* method, GVariant* parameters, GDBusMethodInvocation* invocation,
                     gpointer self) {
    if (std::string_view(method) == "GetMountPoint") {
      g_dbus_method_invocation_return_value(invocation, g_variant_new("(^ay)", "/nowhere"));
      return;
    }
    auto& backend = *static_cast<ScreenshotBackend*>(self);
    GVariant* options = g_variant_get_child_value(parameters, 3);
    gboolean interactive = FALSE;
    g_variant_lookup(options, "interactive", "b", &interactive);
    g_variant_unref(options);
    {
      const std::lock_guard lock(backend.mutex_);
      backend.interactive_ = interactive;
    }
    if (backend.person_ == Person::losesThePortal) {
      GVariant* answer = g_dbus_connection_call_sync(
          bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
          "GetConnectionUnixProcessID",
          g_variant_new("(s)", g_dbus_method_invocation_get_sender(invocation)),
          G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
      guint32 process = 0;
      g_variant_get(answer, "(u)", &process);
      g_variant_unref(answer);
      ::kill(static_cast<pid_t>(process), SIGKILL);
    }
    GVariantBuilder results;
    g_variant_builder_init(&results, G_VARIANT_TYPE_VARDICT);
    if (backend.person_ == Person::takes) {
      g_variant_builder_add(&results, "{sv}", "uri", g_variant_new_string(backend.uri_.c_str()));
    }
    const guint32 response = backend.person_ == Person::takes      ? 0
                             : backend.person_ == Person::declines ? 1
                                                                   : 2;
    g_dbus_method_invocation_return_value(invocation,
                                          g_variant_new("(ua{sv})", response, &results));
  }
  static GVariant* onRead(GDBusConnection*, const char*, const char*, const char*, const char*,
                          GError**, gpointer) {
    return g_variant_new_uint32(2);
  }

  void serve() {
    GMainContext* const context = g_main_context_new();
    g_main_context_push_thread_default(context);
    loop_ = g_main_loop_new(context, FALSE);
    GDBusConnection* const bus = g_dbus_connection_new_for_address_sync(
        std::getenv("DBUS_SESSION_BUS_ADDRESS"),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
    GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(kScreenshotInterfaces, nullptr);
    const GDBusInterfaceVTable table{onCall, onRead, nullptr, {}};
    g_dbus_connection_register_object(bus, "/org/freedesktop/portal/desktop", node->interfaces[0],
                                      &table, this, nullptr, nullptr);
    g_dbus_connection_register_object(bus, "/org/freedesktop/portal/documents", node->interfaces[1],
                                      &table, this, nullptr, nullptr);
    const guint documents = g_bus_own_name_on_connection(bus, "org.freedesktop.portal.Documents",
                                                         G_BUS_NAME_OWNER_FLAGS_NONE, nullptr,
                                                         nullptr, nullptr, nullptr);
    const guint name = g_bus_own_name_on_connection(
        bus, "org.freedesktop.impl.portal.desktop.test", G_BUS_NAME_OWNER_FLAGS_NONE,
        [](GDBusConnection*, const char*, gpointer self) {
          auto& backend = *static_cast<ScreenshotBackend*>(self);
          const std::lock_guard lock(backend.mutex_);
          backend.ready_ = true;
          backend.changed_.notify_all();
        },
        nullptr, this, nullptr);
    g_main_loop_run(loop_);
    g_bus_unown_name(name);
    g_bus_unown_name(documents);
    g_dbus_node_info_unref(node);
    g_object_unref(bus);
    g_main_loop_unref(loop_);
    g_main_context_pop_thread_default(context);
    g_main_context_unref(context);
  }

  const Person person_;
  const std::string uri_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ready_ = false;
  bool interactive_ = false;
  GMainLoop* loop_ = nullptr;
  std::thread thread_;
};

class ScreenshotDesktop : public PrivateDesktop {
 public:
  /// A bus that starts the portal. The backend, made afterwards, finds the bus by the environment
  /// of the test's own process.
  void startPortal() {
    std::filesystem::create_directories(folder / "portals");
    writeFile(folder / "portals/test.portal",
              "[portal]\nDBusName=org.freedesktop.impl.portal.desktop.test"
              "\nInterfaces=org.freedesktop.impl.portal.Screenshot;"
              "org.freedesktop.impl.portal.Access;\nUseIn=test\n");
    set("XDG_DESKTOP_PORTAL_DIR", folder / "portals");
    set("XDG_CURRENT_DESKTOP", "test");
    set("GSETTINGS_SCHEMA_DIR", "/usr/share/glib-2.0/schemas");
    set("GSETTINGS_BACKEND", "memory");
    addService("org.freedesktop.portal.Desktop", kPortal);
    addService("org.freedesktop.impl.portal.PermissionStore", "/usr/libexec/xdg-permission-store");
    startOwnBus();
  }
  /// A bus without a portal; the test's own process uses it too.
  void startOwnBus() {
    startBus();
    for (const std::string& variable : environment) {
      if (!variable.starts_with("DBUS_SESSION_BUS_ADDRESS=")) continue;
      ::setenv("DBUS_SESSION_BUS_ADDRESS", variable.c_str() + variable.find('=') + 1, 1);
    }
  }
};

}  // namespace korvane::testing
