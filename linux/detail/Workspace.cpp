#include "linux/detail/Workspace.h"

#include <gio/gio.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>

#include "linux/detail/GLibPointer.h"
#include "linux/detail/SessionBus.h"
#include "platform/detail/Translation.h"
#include "text/UTF8.h"

namespace korvane {
namespace {

/// What came of a call over the bus.
struct BusAnswer {
  enum { opened, refused, unreachable } outcome;
  /// Why it was not opened.
  std::string reason;
};

/// D-Bus's limit of the bytes of one array.
constexpr std::size_t kMaxArray = 64UL << 20;

/// Bytes that the texts take as an array of a D-Bus message, at most.
std::size_t arraySize(const std::vector<NSURL>& urls) {
  std::size_t size = 0;
  for (const NSURL& url : urls) size += url.absoluteString().size() + 8;  // length, NUL, padding
  return size;
}

/// An environment variable, which is taken out of the environment.
std::optional<std::string> takeVariable(const char* name) {
  const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): see the constructor
  if (!value) return std::nullopt;
  std::string text = value;
  unsetenv(name);  // NOLINT(concurrency-mt-unsafe)
  // It goes into a D-Bus message, which holds UTF-8 only.
  if (text.empty() || !g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr)) {
    return std::nullopt;
  }
  return text;
}

/// The object path of an application: "/it/drelk/korvane" of "it.drelk.korvane".
std::string objectPath(const std::string& identifier) {
  std::string path = "/" + identifier;
  std::replace(path.begin(), path.end(), '.', '/');
  std::replace(path.begin(), path.end(), '-', '_');
  return path;
}

GVariant* openParameters(const std::vector<NSURL>& urls, const Activation& activation) {
  GVariantBuilder uris;
  g_variant_builder_init(&uris, G_VARIANT_TYPE_STRING_ARRAY);
  for (const NSURL& url : urls) g_variant_builder_add(&uris, "s", url.absoluteString().c_str());
  GVariantBuilder platformData;
  g_variant_builder_init(&platformData, G_VARIANT_TYPE_VARDICT);
  const auto add = [&](const char* key, const std::optional<std::string>& value) {
    if (value) {
      g_variant_builder_add(&platformData, "{sv}", key, g_variant_new_string(value->c_str()));
    }
  };
  add("activation-token", activation.token);
  add("desktop-startup-id", activation.startupId);
  return g_variant_new("(asa{sv})", &uris, &platformData);
}

/// What stands in for the mail client has these errors, whose texts are lines for people.
bool isToldToPeople(const std::string& identifier, std::string_view error) {
  static constexpr std::array<std::string_view, 3> kErrors{"NoMailClient", "NotSupported",
                                                           "Failed"};
  const std::string prefix = identifier + ".Error.";
  return error.starts_with(prefix) &&
         std::ranges::find(kErrors, error.substr(prefix.size())) != kErrors.end();
}

/// The text of an error as a line.
std::string lineOf(const char* text) {
  constexpr std::size_t kMaxLine = 500;
  std::string line = text ? text : "";
  std::size_t end = std::min(line.find('\n'), line.size());
  if (end > kMaxLine) {
    end = kMaxLine;
    while (isUTF8Continuation(line[end])) --end;
  }
  line.resize(end);
  return line;
}

/// What an error reply tells. The bus's own texts name programs and services only, those of what
/// stands in for the mail client are for people; any other application's could quote the message,
/// so only the error's name is passed on.
BusAnswer answerOfError(const std::string& identifier, GDBusMessage* reply) {
  const char* name = g_dbus_message_get_error_name(reply);
  const std::string error = name ? name : translated("an unnamed error");
  const char* sender = g_dbus_message_get_sender(reply);
  const bool fromBus = sender && std::string_view(sender) == "org.freedesktop.DBus";

  if (fromBus && (error == "org.freedesktop.DBus.Error.ServiceUnknown" ||
                  error == "org.freedesktop.DBus.Error.NameHasNoOwner")) {
    return {BusAnswer::unreachable, {}};
  }
  const char* text = g_dbus_message_get_arg0(reply);
  if (std::string line = lineOf(text); isToldToPeople(identifier, error) && !line.empty()) {
    return {BusAnswer::refused, std::move(line)};
  }
  if (!fromBus)
    return {BusAnswer::refused, translated("{0} refused the request ({1})", identifier, error)};
  return {BusAnswer::refused,
          translated("{0} cannot be reached: {1}", identifier, text ? std::string(text) : error)};
}

BusAnswer openOverBus(const std::string& identifier, const std::vector<NSURL>& urls,
                      const Activation& activation, const WorkspaceLimits& limits) {
  if (!g_dbus_is_name(identifier.c_str())) return {BusAnswer::unreachable, {}};
  GErrorSlot error;
  const auto connection = connectToSessionBus(limits.connecting, error);
  // Whoever is started by its desktop entry would wait for the same bus.
  if (error.is(G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
    return {BusAnswer::refused, translated("the session bus does not answer")};
  }
  if (error.is(G_IO_ERROR, G_IO_ERROR_NO_SPACE)) return {BusAnswer::refused, error.message()};
  if (!connection) return {BusAnswer::unreachable, {}};
  if (arraySize(urls) > kMaxArray) {
    return {BusAnswer::refused,
            translated("the message makes URLs of {0} bytes, and the session bus takes {1}",
                       std::to_string(arraySize(urls)), std::to_string(kMaxArray))};
  }

  const GObjectPointer<GDBusMessage> call(g_dbus_message_new_method_call(
      identifier.c_str(), objectPath(identifier).c_str(), "org.freedesktop.Application", "Open"));
  g_dbus_message_set_body(call.get(), openParameters(urls, activation));
  GErrorSlot failure;
  const GObjectPointer<GDBusMessage> reply(g_dbus_connection_send_message_with_reply_sync(
      connection.get(), call.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE,
      static_cast<gint>(limits.answering.count()), nullptr, nullptr, failure.out()));
  if (failure.is(G_IO_ERROR, G_IO_ERROR_TIMED_OUT)) {
    return {BusAnswer::refused, translated(kNotAnsweredYet)};
  }
  if (!reply) {
    return {
        BusAnswer::refused,
        translated("the session bus ended the connection; it may not take messages of {0} bytes",
                   std::to_string(arraySize(urls)))};
  }
  if (g_dbus_message_get_message_type(reply.get()) == G_DBUS_MESSAGE_TYPE_METHOD_RETURN) {
    return {BusAnswer::opened, {}};
  }
  return answerOfError(identifier, reply.get());
}

/// The calling thread's own.
thread_local std::optional<Activation> threadActivation;

}  // namespace

ActivationScope::ActivationScope(Activation activation) {
  threadActivation = std::move(activation);
}

ActivationScope::~ActivationScope() { threadActivation.reset(); }

Workspace::Workspace(FailureReport report, WorkspaceLimits limits)
    : report_(std::move(report)),
      limits_(limits),
      activation_{takeVariable("XDG_ACTIVATION_TOKEN"), takeVariable("DESKTOP_STARTUP_ID")} {}

bool Workspace::openURLs(const std::vector<NSURL>& urls, std::string_view withAppBundleIdentifier,
                         unsigned options) {
  if (urls.empty()) return false;
  const std::string identifier(withAppBundleIdentifier);
  const Activation activation = takeActivation(options);
  const BusAnswer answer = openOverBus(identifier, urls, activation, limits_);
  std::optional<std::string> failure;
  if (answer.outcome == BusAnswer::refused) failure = answer.reason;
  if (answer.outcome == BusAnswer::unreachable) {
    failure = launchDesktopEntry(identifier, urls, activation);
  }
  if (failure && report_) report_(*failure);
  return !failure;
}

Activation Workspace::takeActivation(unsigned options) {
  if (options & NSWorkspaceLaunchWithoutActivation) return {};
  if (threadActivation) return *threadActivation;
  std::lock_guard lock(mutex_);
  return std::exchange(activation_, {});
}

}  // namespace korvane
