#include "host/PortalService.h"

#include <gio/gio.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "host/Edition.h"
#include "host/MessageRun.h"
#include "host/OutcomeReport.h"
#include "host/Program.h"
#include "linux/detail/ContainerRoot.h"
#include "linux/detail/GLibPointer.h"
#include "linux/detail/SessionBus.h"
#include "linux/detail/Workspace.h"
#include "platform/NSUserNotificationCenter.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

constexpr const char* kProgram = "korvane-portal";
constexpr const char* kObject = "/org/freedesktop/portal/desktop";
/// Each holds its attachments open; whoever calls on and on gets no further.
constexpr std::size_t kMaxCalls = 16;

constexpr const char* kInterfaces = R"(
<node>
  <interface name="org.freedesktop.impl.portal.Email">
    <method name="ComposeEmail">
      <arg type="o" name="handle" direction="in"/>
      <arg type="s" name="app_id" direction="in"/>
      <arg type="s" name="parent_window" direction="in"/>
      <arg type="a{sv}" name="options" direction="in"/>
      <arg type="u" name="response" direction="out"/>
      <arg type="a{sv}" name="results" direction="out"/>
    </method>
  </interface>
  <interface name="org.freedesktop.impl.portal.Request">
    <method name="Close"/>
  </interface>
</node>)";

enum Response : guint32 { kTaken = 0, kClosed = 1, kFailedOtherwise = 2 };

/// The name on the bus.
std::string busName() {
  std::string name = ownName("korvane");
  std::ranges::replace(name, '-', '_');
  return "org.freedesktop.impl.portal.desktop." + name;
}

struct Free {
  void operator()(GMainLoop* loop) const { g_main_loop_unref(loop); }
  void operator()(GDBusNodeInfo* node) const { g_dbus_node_info_unref(node); }
};

void answer(GDBusMethodInvocation* invocation, Response response) {
  g_dbus_method_invocation_return_value(invocation, g_variant_new("(ua{sv})", response, nullptr));
}

std::vector<std::string> textsOf(GVariant* options, const char* key) {
  std::vector<std::string> texts;
  const GPointer<GVariant> array(g_variant_lookup_value(options, key, G_VARIANT_TYPE_STRING_ARRAY));
  if (!array) return texts;
  GVariantIter iterator;
  g_variant_iter_init(&iterator, array.get());
  const char* text = nullptr;
  while (g_variant_iter_next(&iterator, "&s", &text)) texts.emplace_back(text);
  return texts;
}

std::string textOf(GVariant* options, const char* key) {
  const char* text = nullptr;
  return g_variant_lookup(options, key, "&s", &text) ? text : std::string();
}

/// What a call hands over. Keys of another kind than they should have count as missing.
ComposedMessage messageOf(GVariant* options) {
  ComposedMessage message{.to = textsOf(options, "addresses"),
                          .cc = textsOf(options, "cc"),
                          .bcc = textsOf(options, "bcc"),
                          .subject = textOf(options, "subject"),
                          .body = textOf(options, "body"),
                          .attachments = textsOf(options, "attachments")};
  // The one recipient of older callers.
  if (std::string one = textOf(options, "address"); !one.empty()) {
    if (std::ranges::find(message.to, one) == message.to.end()) {
      message.to.insert(message.to.begin(), std::move(one));
    }
  }
  return message;
}

Activation activationOf(GVariant* options) {
  std::string token = textOf(options, "activation_token");
  if (token.empty()) return {};
  // The desktops have one kind of token each, and callers do not say which they have.
  return {.token = token, .startupId = token};
}

/// Tells what the person should know, if anything: on the desktop, where they look, and in the
/// journal.
void tell(const std::vector<std::string>& lines, const std::string& request) {
  if (lines.empty()) return;
  std::string text;
  for (const std::string& line : lines) {
    fail(kProgram, kFailed, line);
    text.append(text.empty() ? "" : "\n").append(line);
  }
  NSUserNotificationCenter::defaultUserNotificationCenter()->deliverNotification(
      {.identifier = request, .title = translated("Send by Mail"), .informativeText = text});
}

class Service {
 public:
  Service() : loop_(g_main_loop_new(nullptr, FALSE)) {}
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  int run();

 private:
  /// One call, from its coming in to its answer.
  struct Call {
    Service* service;
    GDBusMethodInvocation* invocation;
    std::string handle;
    ComposedMessage message;
    Activation activation;
    std::shared_ptr<Cancellation> cancellation = std::make_shared<Cancellation>();
    guint request = 0;
    std::thread worker{};
    Response response = kFailedOtherwise;
  };

  static void onCall(GDBusConnection*, const char*, const char*, const char*, const char*,
                     GVariant* parameters, GDBusMethodInvocation* invocation, gpointer service) {
    static_cast<Service*>(service)->take(parameters, invocation);
  }
  static void onClose(GDBusConnection*, const char*, const char*, const char*, const char*,
                      GVariant*, GDBusMethodInvocation* invocation, gpointer call) {
    static_cast<Call*>(call)->cancellation->cancel();
    g_dbus_method_invocation_return_value(invocation, nullptr);
  }

  void take(GVariant* parameters, GDBusMethodInvocation* invocation);
  static void work(Call& call);
  void onDone(Call* call);

  const std::unique_ptr<GMainLoop, Free> loop_;
  const std::unique_ptr<GDBusNodeInfo, Free> node_{
      g_dbus_node_info_new_for_xml(kInterfaces, nullptr)};
  GObjectPointer<GDBusConnection> bus_;
  std::vector<std::unique_ptr<Call>> calls_;  // the main thread's
  int status_ = kDone;
};

void Service::take(GVariant* parameters, GDBusMethodInvocation* invocation) {
  if (calls_.size() >= kMaxCalls) {
    fail(kProgram, kFailed,
         translated("a mail was not composed: too many are being composed already"));
    return answer(invocation, kFailedOtherwise);
  }
  const char* handle = nullptr;
  g_variant_get_child(parameters, 0, "&o", &handle);
  const GPointer<GVariant> options(g_variant_get_child_value(parameters, 3));
  auto& call = calls_.emplace_back(new Call{.service = this,
                                            .invocation = invocation,
                                            .handle = handle,
                                            .message = messageOf(options.get()),
                                            .activation = activationOf(options.get())});
  const GDBusInterfaceVTable table{&Service::onClose, nullptr, nullptr, {}};
  call->request = g_dbus_connection_register_object(bus_.get(), handle, node_->interfaces[1],
                                                    &table, call.get(), nullptr, nullptr);
  call->worker = std::thread([call = call.get()] {
    work(*call);
    g_main_context_invoke(
        nullptr,
        [](gpointer done) -> gboolean {
          auto* const ended = static_cast<Call*>(done);
          ended->service->onDone(ended);
          return G_SOURCE_REMOVE;
        },
        call);
  });
}

void Service::work(Call& call) {
  try {
    const ActivationScope activation(call.activation);
    ShareOptions options{.container = ContainerRoot().path()};
    options.hooks.cancellation = call.cancellation;
    const ShareOutcome outcome = runMessage(call.message, options);
    const bool isOpened = outcome.status == ShareOutcome::Status::opened;
    if (!isOpened && call.cancellation->isCancelled()) {
      call.response = kClosed;
      return;
    }
    if (isOpened) call.response = kTaken;
    tell(outcomeLines(outcome), call.handle);
  } catch (const std::bad_alloc&) {
    fail(kProgram, kFailed, translationOf("there is not enough memory"));
  } catch (const std::exception& error) {
    tell({error.what()}, call.handle);
  }
}

void Service::onDone(Call* call) {
  call->worker.join();
  if (call->request != 0) g_dbus_connection_unregister_object(bus_.get(), call->request);
  answer(call->invocation, call->response);
  std::erase_if(calls_, [&](const auto& one) { return one.get() == call; });
}

int Service::run() {
  std::string reason;
  bus_ = connectService(reason);
  if (!bus_) return fail(kProgram, kFailed, reason);
  const GDBusInterfaceVTable table{&Service::onCall, nullptr, nullptr, {}};
  g_dbus_connection_register_object(bus_.get(), kObject, node_->interfaces[0], &table, this,
                                    nullptr, nullptr);
  // The name comes last: once it is owned, calls are answered.
  g_bus_own_name_on_connection(
      bus_.get(), busName().c_str(), G_BUS_NAME_OWNER_FLAGS_DO_NOT_QUEUE, nullptr,
      [](GDBusConnection* bus, const char*, gpointer service) {
        auto* const self = static_cast<Service*>(service);
        if (bus && !g_dbus_connection_is_closed(bus)) {
          self->status_ =
              fail(kProgram, kFailed, translated("{0} is another program's", busName()));
        }
        g_main_loop_quit(self->loop_.get());
      },
      this, nullptr);
  g_main_loop_run(loop_.get());
  // The session has ended, and calls that are being worked on have nobody to answer.
  if (!calls_.empty()) std::_Exit(status_);
  return status_;
}

}  // namespace

int runPortalService() { return Service().run(); }

}  // namespace korvane
