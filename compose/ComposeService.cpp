#include "compose/ComposeService.h"

#include <gio/gio.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "compose/Composition.h"
#include "compose/Telling.h"
#include "linux/detail/GLibPointer.h"
#include "linux/detail/SessionBus.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

constexpr unsigned kIdleSeconds = 10;

constexpr const char* kInterface = R"(
<node><interface name="org.freedesktop.Application">
  <method name="Activate"><arg type="a{sv}" name="platform_data" direction="in"/></method>
  <method name="Open">
    <arg type="as" name="uris" direction="in"/>
    <arg type="a{sv}" name="platform_data" direction="in"/>
  </method>
  <method name="ActivateAction">
    <arg type="s" name="action_name" direction="in"/>
    <arg type="av" name="parameter" direction="in"/>
    <arg type="a{sv}" name="platform_data" direction="in"/>
  </method>
</interface></node>)";

struct Free {
  void operator()(GMainLoop* loop) const { g_main_loop_unref(loop); }
  void operator()(GDBusNodeInfo* node) const { g_dbus_node_info_unref(node); }
};

class Service {
 public:
  Service(std::string identifier, std::optional<std::string> client)
      : identifier_(std::move(identifier)),
        client_(std::move(client)),
        loop_(g_main_loop_new(nullptr, FALSE)) {}
  ~Service() {
    for (std::thread& worker : workers_) worker.join();
  }
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  int run();

 private:
  static void onCall(GDBusConnection*, const char*, const char*, const char*, const char* method,
                     GVariant* parameters, GDBusMethodInvocation* invocation, gpointer service) {
    static_cast<Service*>(service)->take(method, parameters, invocation);
  }

  void take(std::string_view method, GVariant* parameters, GDBusMethodInvocation* invocation);
  void work(const std::vector<std::string>& uris, const Activation& activation,
            GDBusMethodInvocation* invocation) const;
  void answer(GDBusMethodInvocation* invocation, const ComposeError* error) const;
  void waitForIdle();
  void onDone();

  const std::string identifier_;
  const std::optional<std::string> client_;
  const std::unique_ptr<GMainLoop, Free> loop_;
  // The main thread's.
  std::vector<std::thread> workers_;
  int working_ = 0;
  guint idle_ = 0;
};

std::string objectPath(const std::string& identifier) {
  std::string path = "/" + identifier;
  std::ranges::replace(path, '.', '/');
  std::ranges::replace(path, '-', '_');
  return path;
}

Activation activationOf(GVariant* platformData) {
  Activation activation;
  const auto find = [&](const char* key, std::optional<std::string>& to) {
    const char* text = nullptr;
    if (g_variant_lookup(platformData, key, "&s", &text) && *text) to = text;
  };
  find("activation-token", activation.token);
  find("desktop-startup-id", activation.startupId);
  return activation;
}

std::vector<std::string> textsOf(GVariant* array) {
  std::vector<std::string> texts;
  GVariantIter iterator;
  g_variant_iter_init(&iterator, array);
  const char* text = nullptr;
  while (g_variant_iter_next(&iterator, "&s", &text)) texts.emplace_back(text);
  return texts;
}

void Service::answer(GDBusMethodInvocation* invocation, const ComposeError* error) const {
  if (!error) {
    g_dbus_method_invocation_return_value(invocation, nullptr);
    return;
  }
  const char* name = error->kind() == ComposeError::Kind::noMailClient ? "NoMailClient"
                     : error->kind() == ComposeError::Kind::notCompose ? "NotSupported"
                                                                       : "Failed";
  g_dbus_method_invocation_return_dbus_error(invocation, (identifier_ + ".Error." + name).c_str(),
                                             error->what());
}

void Service::work(const std::vector<std::string>& uris, const Activation& activation,
                   GDBusMethodInvocation* invocation) const {
  std::vector<std::unique_ptr<Composition>> compositions;
  try {
    const InstalledClient client = mailClientFor(client_);
    if (uris.empty()) compositions.push_back(std::make_unique<Composition>(client, std::nullopt));
    for (const std::string& uri : uris) {
      const auto url = NSURL::URLWithString(uri);
      if (!url) throw ComposeError(ComposeError::Kind::notCompose, translated("this is not a URL"));
      compositions.push_back(std::make_unique<Composition>(client, url));
    }
  } catch (const ComposeError& error) {
    answer(invocation, &error);
    return;
  } catch (const std::exception& error) {
    const ComposeError failed(ComposeError::Kind::failed, error.what());
    answer(invocation, &failed);
    return;
  }
  answer(invocation, nullptr);

  Activation once = activation;
  for (const auto& composition : compositions) {
    try {
      composition->prepare();
      composition->open(std::exchange(once, {}));
      tellAbout(*composition);
    } catch (const ComposeError& error) {
      tellAbout(*composition);
      tellFailure(error);
    } catch (const std::exception& error) {
      tellFailure(ComposeError(ComposeError::Kind::failed, error.what()));
    }
  }
}

void Service::take(std::string_view method, GVariant* parameters,
                   GDBusMethodInvocation* invocation) {
  if (method == "ActivateAction") {
    const ComposeError error(ComposeError::Kind::notCompose,
                             translated("there are no actions here"));
    answer(invocation, &error);
    return;
  }
  const bool isOpen = method == "Open";
  const GPointer<GVariant> platformData(g_variant_get_child_value(parameters, isOpen ? 1 : 0));
  std::vector<std::string> uris;
  if (isOpen) {
    const GPointer<GVariant> array(g_variant_get_child_value(parameters, 0));
    uris = textsOf(array.get());
    if (uris.empty()) {
      const ComposeError error(ComposeError::Kind::notCompose,
                               translated("there is no URL to open"));
      answer(invocation, &error);
      return;
    }
  }
  ++working_;
  workers_.emplace_back(
      [this, uris = std::move(uris), activation = activationOf(platformData.get()), invocation] {
        work(uris, activation, invocation);
        g_main_context_invoke(
            nullptr,
            [](gpointer service) -> gboolean {
              static_cast<Service*>(service)->onDone();
              return G_SOURCE_REMOVE;
            },
            this);
      });
}

void Service::onDone() {
  --working_;
  waitForIdle();
}

void Service::waitForIdle() {
  if (idle_ != 0) g_source_remove(std::exchange(idle_, 0));
  if (working_ > 0) return;
  idle_ = g_timeout_add_seconds(
      kIdleSeconds,
      [](gpointer data) -> gboolean {
        auto* const service = static_cast<Service*>(data);
        service->idle_ = 0;
        if (service->working_ == 0) g_main_loop_quit(service->loop_.get());
        return G_SOURCE_REMOVE;
      },
      this);
}

int Service::run() {
  std::string reason;
  const auto bus = connectService(reason);
  if (!bus) {
    tellFailure(ComposeError(ComposeError::Kind::failed, reason));
    return 1;
  }
  const std::unique_ptr<GDBusNodeInfo, Free> node(
      g_dbus_node_info_new_for_xml(kInterface, nullptr));
  const GDBusInterfaceVTable table{&Service::onCall, nullptr, nullptr, {}};
  g_dbus_connection_register_object(bus.get(), objectPath(identifier_).c_str(), node->interfaces[0],
                                    &table, this, nullptr, nullptr);
  // The name comes last: once it is owned, calls are answered. It is not taken from a program that
  // has it: the real mail client goes first.
  const auto request = [&](const char* method, GVariant* parameters) {
    const GPointer<GVariant> reply(g_dbus_connection_call_sync(
        bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
        parameters, G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    guint32 code = 0;
    if (reply) g_variant_get(reply.get(), "(u)", &code);
    return code;
  };
  constexpr guint32 kDoNotQueue = 4;
  constexpr guint32 kPrimaryOwner = 1;
  if (request("RequestName", g_variant_new("(su)", identifier_.c_str(), kDoNotQueue)) !=
      kPrimaryOwner) {
    tellFailure(ComposeError(ComposeError::Kind::failed,
                             translated("{0} is another program's already", identifier_)));
    return 1;
  }
  waitForIdle();
  g_main_loop_run(loop_.get());

  // What came before the name was given back is still here and is answered; what comes after it
  // goes to another process.
  request("ReleaseName", g_variant_new("(s)", identifier_.c_str()));
  while (g_main_context_iteration(nullptr, FALSE) || working_ > 0) {
    if (working_ > 0) g_main_context_iteration(nullptr, TRUE);
  }
  g_dbus_connection_flush_sync(bus.get(), nullptr, nullptr);
  return 0;
}

}  // namespace

int runComposeService(const std::string& identifier, const std::optional<std::string>& client) {
  return Service(identifier, client).run();
}

}  // namespace korvane
