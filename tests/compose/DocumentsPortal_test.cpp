#include "compose/DocumentsPortal.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "linux/detail/FileViewer.h"
#include "support/FakeServices.h"
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

/// The documents portal and a file manager.
class DocumentsAndFiles {
 public:
  explicit DocumentsAndFiles(const std::string& busAddress)
      : services_(
            busAddress,
            {kInterfaces,
             {"/org/freedesktop/portal/documents", "/org/freedesktop/FileManager1"},
             {"org.freedesktop.portal.Documents", "org.freedesktop.FileManager1"}},
            [this](GDBusConnection*, std::string_view method, GVariant* parameters,
                   GDBusMethodInvocation* invocation) { answer(method, parameters, invocation); }) {
  }

  std::vector<std::string> calls() {
    std::lock_guard lock(mutex_);
    return calls_;
  }

 private:
  void answer(std::string_view method, GVariant* parameters, GDBusMethodInvocation* invocation) {
    char* const printed = g_variant_print(parameters, FALSE);
    {
      std::lock_guard lock(mutex_);
      calls_.push_back(std::string(method) + printed);
    }
    g_free(printed);
    if (method == "ShowItems") {
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

  std::mutex mutex_;
  std::vector<std::string> calls_;
  testing::FakeServices services_;
};

TEST(DocumentsPortal, AFileIsHandedOverAndShown) {
  testing::PrivateDesktop desktop;
  desktop.startBus();
  const std::string address = desktop.variable("DBUS_SESSION_BUS_ADDRESS");
  setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
  // The end of the bus must not end the test.
  GDBusConnection* const shared = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  ASSERT_NE(shared, nullptr);
  g_dbus_connection_set_exit_on_close(shared, FALSE);

  const std::string file = desktop.folder / "a, b \u00e9.txt";
  testing::writeFile(file, "x");
  DocumentsAndFiles services(address);

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
