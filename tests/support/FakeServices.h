#pragma once

// Stand-ins for the desktop's services on a session bus of a test's own.

#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace korvane::testing {

/// Objects and names on a bus, served by a thread until this goes. Whoever holds it as a member has
/// it as the last one: calls come as long as it is there.
class FakeServices {
 public:
  struct Description {
    /// Introspection XML.
    const char* interfaces;
    /// The path of each of its interfaces, in their order.
    std::vector<const char*> paths;
    std::vector<const char*> names;
    /// What every property reads as.
    std::uint32_t version = 0;
  };
  /// Answers one call, on the services' thread.
  using Answer = std::function<void(GDBusConnection* bus, std::string_view method,
                                    GVariant* parameters, GDBusMethodInvocation* invocation)>;

  /// Returns when everything can be called.
  FakeServices(const std::string& busAddress, const Description& description, Answer answer)
      : answer_(std::move(answer)),
        version_(description.version),
        context_(g_main_context_new()),
        loop_(g_main_loop_new(context_, FALSE)),
        node_(g_dbus_node_info_new_for_xml(description.interfaces, nullptr)) {
    g_main_context_push_thread_default(context_);  // where calls go to
    bus_ = g_dbus_connection_new_for_address_sync(
        busAddress.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
    if (!bus_ || !node_) throw std::runtime_error("no bus for the services of a test");
    const GDBusInterfaceVTable table{&FakeServices::onCall, &FakeServices::onRead, nullptr, {}};
    for (std::size_t i = 0; i < description.paths.size(); ++i) {
      g_dbus_connection_register_object(bus_, description.paths[i], node_->interfaces[i], &table,
                                        this, nullptr, nullptr);
    }
    for (const char* name : description.names) {
      g_variant_unref(g_dbus_connection_call_sync(
          bus_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
          "RequestName", g_variant_new("(su)", name, 0U), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
          nullptr, nullptr));
    }
    g_main_context_pop_thread_default(context_);
    thread_ = std::thread([this] {
      g_main_context_push_thread_default(context_);
      g_main_loop_run(loop_);
      g_main_context_pop_thread_default(context_);
    });
  }
  ~FakeServices() {
    g_main_context_invoke(
        context_, [](gpointer loop) { return g_main_loop_quit(static_cast<GMainLoop*>(loop)), 0; },
        loop_);
    thread_.join();
    g_dbus_connection_close_sync(bus_, nullptr, nullptr);
    g_object_unref(bus_);
    g_dbus_node_info_unref(node_);
    g_main_loop_unref(loop_);
    g_main_context_unref(context_);
  }
  FakeServices(const FakeServices&) = delete;
  FakeServices& operator=(const FakeServices&) = delete;

  void emit(const char* path, const char* interface, const char* signal, GVariant* parameters) {
    g_dbus_connection_emit_signal(bus_, nullptr, path, interface, signal, parameters, nullptr);
  }

 private:
  static void onCall(GDBusConnection* bus, const char*, const char*, const char*,
                     const char* method, GVariant* parameters, GDBusMethodInvocation* invocation,
                     gpointer self) {
    static_cast<FakeServices*>(self)->answer_(bus, method, parameters, invocation);
  }
  static GVariant* onRead(GDBusConnection*, const char*, const char*, const char*, const char*,
                          GError**, gpointer self) {
    return g_variant_new_uint32(static_cast<FakeServices*>(self)->version_);
  }

  const Answer answer_;
  const std::uint32_t version_;
  GMainContext* const context_;
  GMainLoop* const loop_;
  GDBusNodeInfo* const node_;
  GDBusConnection* bus_ = nullptr;
  std::thread thread_;
};

}  // namespace korvane::testing
