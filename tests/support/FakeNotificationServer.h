#pragma once

// A notification server with a file manager, and where that is wanted KDE's server of job views, on
// a session bus of a test's own. What it is asked to do can be waited for; what a person does is a
// call.

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "support/FakeServices.h"

namespace korvane::testing {

class FakeNotificationServer {
 public:
  struct Options {
    std::vector<std::string> capabilities{"actions", "body", "body-markup"};
    /// Calls are not answered.
    bool isSilent = false;
    bool hasJobViews = false;
  };

  /// One thing that was asked of it.
  struct Event {
    /// "Notify", "Close"; "requestView", "update", "terminate"; "ShowItems".
    std::string what;
    unsigned id = 0;  // what Notify gave, or what is closed
    unsigned replaces = 0;
    std::string application;  // of "Notify", its name; of "requestView", its desktop entry
    std::string summary;
    std::string body;
    std::vector<std::string> actions;  // keys and labels in turn
    bool isTransient = false;
    std::string arguments;  // of "update" and "ShowItems", printed
  };

  explicit FakeNotificationServer(const std::string& busAddress)
      : FakeNotificationServer(busAddress, Options()) {}
  FakeNotificationServer(const std::string& busAddress, const Options& options)
      : options_(options),
        services_(busAddress, description(options),
                  [this](GDBusConnection*, std::string_view method, GVariant* parameters,
                         GDBusMethodInvocation* invocation) {
                    answer(std::string(method), parameters, invocation);
                  }) {}

  /// Waits for the next thing that is asked of it.
  Event next() {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, std::chrono::seconds(30), [&] { return !events_.empty(); })) {
      ADD_FAILURE() << "nothing was asked of the notification server";
      return {};
    }
    Event event = std::move(events_.front());
    events_.pop_front();
    return event;
  }
  /// Waits for the next notification whose body holds a text; what comes before it is dropped.
  Event nextWith(const std::string& text) {
    for (;;) {
      Event event = next();
      if (event.what.empty() || (event.what == "Notify" && event.body.find(text) != text.npos)) {
        return event;
      }
    }
  }
  /// Whether nothing was asked of it that was not waited for.
  bool isQuiet() {
    const std::lock_guard lock(mutex_);
    return events_.empty();
  }

  // What a person does.
  void press(unsigned id, const std::string& key, const std::string& token = {}) {
    if (!token.empty()) {
      services_.emit("/org/freedesktop/Notifications", "org.freedesktop.Notifications",
                     "ActivationToken", g_variant_new("(us)", id, token.c_str()));
    }
    services_.emit("/org/freedesktop/Notifications", "org.freedesktop.Notifications",
                   "ActionInvoked", g_variant_new("(us)", id, key.c_str()));
  }
  void close(unsigned id) { closeFor(id, 2); }
  /// What a server does of itself when a time is over.
  void expire(unsigned id) { closeFor(id, 1); }
  void cancelJob() { services_.emit("/job/1", "org.kde.JobViewV3", "cancelRequested", nullptr); }

 private:
  void closeFor(unsigned id, unsigned reason) {
    services_.emit("/org/freedesktop/Notifications", "org.freedesktop.Notifications",
                   "NotificationClosed", g_variant_new("(uu)", id, reason));
  }

  static constexpr const char* kInterfaces = R"(
<node>
<interface name="org.freedesktop.Notifications">
  <method name="GetCapabilities"><arg type="as" direction="out"/></method>
  <method name="Notify">
    <arg type="s" direction="in"/><arg type="u" direction="in"/><arg type="s" direction="in"/>
    <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="as" direction="in"/>
    <arg type="a{sv}" direction="in"/><arg type="i" direction="in"/><arg type="u" direction="out"/>
  </method>
  <method name="CloseNotification"><arg type="u" direction="in"/></method>
</interface>
<interface name="org.kde.JobViewServerV2">
  <method name="requestView">
    <arg type="s" direction="in"/><arg type="i" direction="in"/><arg type="a{sv}" direction="in"/>
    <arg type="o" direction="out"/>
  </method>
</interface>
<interface name="org.kde.JobViewV3">
  <method name="update"><arg type="a{sv}" direction="in"/></method>
  <method name="terminate">
    <arg type="u" direction="in"/><arg type="s" direction="in"/><arg type="a{sv}" direction="in"/>
  </method>
</interface>
<interface name="org.freedesktop.FileManager1">
  <method name="ShowItems"><arg type="as" direction="in"/><arg type="s" direction="in"/></method>
</interface>
</node>)";

  static FakeServices::Description description(const Options& options) {
    FakeServices::Description all{
        kInterfaces,
        {"/org/freedesktop/Notifications", "/JobViewServer", "/job/1",
         "/org/freedesktop/FileManager1"},
        {"org.freedesktop.Notifications", "org.freedesktop.FileManager1"}};
    if (options.hasJobViews) all.names.push_back("org.kde.JobViewServer");
    return all;
  }

  void answer(const std::string& method, GVariant* parameters, GDBusMethodInvocation* invocation) {
    if (options_.isSilent) {
      g_object_unref(invocation);
      return;
    }
    Event event;
    event.what = method;
    GVariant* result = nullptr;
    if (method == "GetCapabilities") {
      GVariantBuilder builder;
      g_variant_builder_init(&builder, G_VARIANT_TYPE_STRING_ARRAY);
      for (const std::string& one : options_.capabilities) {
        g_variant_builder_add(&builder, "s", one.c_str());
      }
      g_dbus_method_invocation_return_value(invocation, g_variant_new("(as)", &builder));
      return;
    }
    if (method == "Notify") {
      const char* summary = nullptr;
      const char* body = nullptr;
      GVariantIter* actions = nullptr;
      GVariant* hints = nullptr;
      const char* application = nullptr;
      g_variant_get(parameters, "(&su&s&s&sas@a{sv}i)", &application, &event.replaces, nullptr,
                    &summary, &body, &actions, &hints, nullptr);
      event.application = application;
      event.summary = summary;
      event.body = body;
      const char* action = nullptr;
      while (g_variant_iter_next(actions, "&s", &action)) event.actions.emplace_back(action);
      g_variant_iter_free(actions);
      gboolean isTransient = FALSE;
      g_variant_lookup(hints, "transient", "b", &isTransient);
      event.isTransient = isTransient != FALSE;
      g_variant_unref(hints);
      event.id = event.replaces != 0 ? event.replaces : ++last_;
      result = g_variant_new("(u)", event.id);
    } else if (method == "CloseNotification") {
      event.what = "Close";
      g_variant_get(parameters, "(u)", &event.id);
    } else if (method == "requestView") {
      const char* application = nullptr;
      g_variant_get(parameters, "(&si@a{sv})", &application, nullptr, nullptr);
      event.application = application;
      result = g_variant_new("(o)", "/job/1");
    } else if (method == "update" || method == "ShowItems") {
      char* text = g_variant_print(parameters, FALSE);
      event.arguments = text;
      g_free(text);
    }
    // Answered first: who waits for the event may act at once, as a person cannot.
    g_dbus_method_invocation_return_value(invocation, result);
    const std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
    changed_.notify_all();
  }

  const Options options_;
  unsigned last_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Event> events_;
  FakeServices services_;
};

}  // namespace korvane::testing
