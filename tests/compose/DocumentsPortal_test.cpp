#include "compose/DocumentsPortal.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#include "linux/detail/FileViewer.h"
#include "support/PrivateDesktop.h"

namespace korvane {
namespace {

constexpr const char* kInterfaces = R"(
<node>
  <interface name="org.freedesktop.portal.Documents">
    <method name="AddFull">
      <arg type="ah" direction="in"/><arg type="u" direction="in"/><arg type="s" direction="in"/>
      <arg type="as" direction="in"/><arg type="as" direction="out"/>
      <arg type="a{sv}" direction="out"/>
    </method>
  </interface>
  <interface name="org.freedesktop.FileManager1">
    <method name="ShowItems"><arg type="as" direction="in"/><arg type="s" direction="in"/></method>
  </interface>
</node>)";

/// The documents portal and a file manager on a bus, in a thread of their own.
class FakeServices {
 public:
  FakeServices() : thread_([this] { serve(); }) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return ready_; });
  }
  ~FakeServices() {
    g_main_loop_quit(loop_);
    thread_.join();
  }
  FakeServices(const FakeServices&) = delete;
  FakeServices& operator=(const FakeServices&) = delete;

  std::vector<std::string> calls() {
    std::lock_guard lock(mutex_);
    return calls_;
  }

 private:
  static void onCall(GDBusConnection*, const char*, const char*, const char*, const char* method,
                     GVariant* parameters, GDBusMethodInvocation* invocation, gpointer self) {
    char* const printed = g_variant_print(parameters, FALSE);
    {
      auto& services = *static_cast<FakeServices*>(self);
      std::lock_guard lock(services.mutex_);
      services.calls_.push_back(std::string(method) + printed);
    }
    g_free(printed);
    if (std::string_view(method) == "ShowItems") {
      g_dbus_method_invocation_return_value(invocation, nullptr);
      return;
    }
    const char* const identifiers[] = {"1a2b", nullptr};
    GVariantBuilder extra;
    g_variant_builder_init(&extra, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&extra, "{sv}", "mountpoint",
                          g_variant_new_bytestring("/run/user/7/doc"));
    g_dbus_method_invocation_return_value(invocation,
                                          g_variant_new("(^asa{sv})", identifiers, &extra));
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
    GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(kInterfaces, nullptr);
    const GDBusInterfaceVTable table{&FakeServices::onCall, nullptr, nullptr, {}};
    const char* const paths[] = {"/org/freedesktop/portal/documents",
                                 "/org/freedesktop/FileManager1"};
    const char* const names[] = {"org.freedesktop.portal.Documents",
                                 "org.freedesktop.FileManager1"};
    for (int i = 0; i < 2; ++i) {
      g_dbus_connection_register_object(bus, paths[i], node->interfaces[i], &table, this, nullptr,
                                        nullptr);
      g_variant_unref(g_dbus_connection_call_sync(
          bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
          "RequestName", g_variant_new("(su)", names[i], 0U), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
          nullptr, nullptr));
    }
    {
      std::lock_guard lock(mutex_);
      ready_ = true;
    }
    changed_.notify_all();
    g_main_loop_run(loop_);
    g_dbus_node_info_unref(node);
    g_object_unref(bus);
    g_main_loop_unref(loop_);
    g_main_context_pop_thread_default(context);
    g_main_context_unref(context);
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool ready_ = false;
  std::vector<std::string> calls_;
  GMainLoop* loop_ = nullptr;
  std::thread thread_;
};

TEST(DocumentsPortal, AFileIsHandedOverAndShown) {
  testing::PrivateDesktop desktop;
  desktop.startBus();
  for (const std::string& variable : desktop.environment) {
    if (!variable.starts_with("DBUS_SESSION_BUS_ADDRESS=")) continue;
    setenv("DBUS_SESSION_BUS_ADDRESS", variable.substr(variable.find('=') + 1).c_str(), 1);
  }
  // The end of the bus must not end the test.
  GDBusConnection* const shared = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  ASSERT_NE(shared, nullptr);
  g_dbus_connection_set_exit_on_close(shared, FALSE);

  const std::string file = desktop.folder / "a, b \u00e9.txt";
  testing::writeFile(file, "x");
  FakeServices services;

  EXPECT_EQ(documentFor(file, "org.gnome.Evolution"), "/run/user/7/doc/1a2b/a, b \u00e9.txt");
  EXPECT_FALSE(documentFor(file + ".gone", "org.gnome.Evolution"));
  EXPECT_TRUE(showInFileManager(file, {std::nullopt, "startup"}));

  const auto calls = services.calls();
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0], "AddFull([0], 1, 'org.gnome.Evolution', ['read'])");
  // One file, whatever the number of attachments.
  EXPECT_EQ(calls[1],
            "ShowItems(['file://" + desktop.folder.string() + "/a,%20b%20%C3%A9.txt'], 'startup')");
  g_object_unref(shared);
}

}  // namespace
}  // namespace korvane
