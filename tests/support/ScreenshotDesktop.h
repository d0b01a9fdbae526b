#pragma once

// A desktop of a test's own with its portal (xdg-desktop-portal), and a backend that stands in for
// the desktop's dialogue for pictures of the screen.

#include <gio/gio.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "support/FakeServices.h"
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
      : person_(person),
        uri_(std::move(uri)),
        services_(std::getenv("DBUS_SESSION_BUS_ADDRESS"),
                  {kScreenshotInterfaces,
                   {"/org/freedesktop/portal/desktop", "/org/freedesktop/portal/documents"},
                   {"org.freedesktop.portal.Documents", "org.freedesktop.impl.portal.desktop.test"},
                   2},
                  [this](GDBusConnection* bus, std::string_view method, GVariant* parameters,
                         GDBusMethodInvocation* invocation) {
                    answer(bus, method, parameters, invocation);
                  }) {}

  bool wasInteractive() {
    const std::lock_guard lock(mutex_);
    return interactive_;
  }

 private:
  void answer(GDBusConnection* bus, std::string_view method, GVariant* parameters,
              GDBusMethodInvocation* invocation) {
    if (method == "GetMountPoint") {
      g_dbus_method_invocation_return_value(invocation, g_variant_new("(^ay)", "/nowhere"));
      return;
    }
    GVariant* options = g_variant_get_child_value(parameters, 3);
    gboolean interactive = FALSE;
    g_variant_lookup(options, "interactive", "b", &interactive);
    g_variant_unref(options);
    {
      const std::lock_guard lock(mutex_);
      interactive_ = interactive;
    }
    if (person_ == Person::losesThePortal) {
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
    if (person_ == Person::takes) {
      g_variant_builder_add(&results, "{sv}", "uri", g_variant_new_string(uri_.c_str()));
    }
    const guint32 response = person_ == Person::takes ? 0 : person_ == Person::declines ? 1 : 2;
    g_dbus_method_invocation_return_value(invocation,
                                          g_variant_new("(ua{sv})", response, &results));
  }

  const Person person_;
  const std::string uri_;
  std::mutex mutex_;
  bool interactive_ = false;
  FakeServices services_;
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
    ::setenv("DBUS_SESSION_BUS_ADDRESS", variable("DBUS_SESSION_BUS_ADDRESS").c_str(), 1);
  }
};

}  // namespace korvane::testing
