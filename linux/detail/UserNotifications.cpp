#include "linux/detail/UserNotifications.h"

#include <gio/gio.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "linux/detail/GLibPointer.h"
#include "linux/detail/SessionBus.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

constexpr const char* kName = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
constexpr const char* kBusName = "org.freedesktop.DBus";
constexpr const char* kBusPath = "/org/freedesktop/DBus";
constexpr const char* kJobServer = "org.kde.JobViewServer";
constexpr const char* kJobView = "org.kde.JobViewV3";
constexpr const char* kIcon = "mail-send";
constexpr const char* kButton = "button";
/// A job that can be ended.
constexpr int kKillable = 1;

/// What D-Bus takes as a text.
std::string validText(const std::string& text) {
  const GPointer<char> valid(g_utf8_make_valid(text.c_str(), -1));
  return valid.get();
}

std::string withoutMarkup(const std::string& text) {
  const GPointer<char> escaped(g_markup_escape_text(text.c_str(), -1));
  return escaped.get();
}

std::string textOf(const NSUserNotification& notification) {
  const double part = notification.progress.value_or(-1);
  if (part < 0) return notification.informativeText;
  // Some servers show nothing but a bar where they are told the number apart.
  return translated("{0} {1} %", notification.informativeText,
                    std::to_string(static_cast<int>(std::min(part, 1.0) * 100)));
}

/// What is called back for the notifications that are shown. The bus's own thread tells of them,
/// perhaps before the one that shows them knows their number.
class Shown {
 public:
  /// A number is what the server gave, or the path of a job view.
  void set(const std::string& number, const NSUserNotification& notification) {
    std::vector<Event> missed;
    {
      const std::lock_guard lock(mutex_);
      callbacks_[number] = {notification.activated, notification.closed};
      for (const Event& event : early_) {
        if (event.number == number) missed.push_back(event);
      }
      std::erase_if(early_, [&](const Event& event) { return event.number == number; });
    }
    for (const Event& event : missed) tell(event);
  }
  void forget(const std::string& number) {
    const std::lock_guard lock(mutex_);
    callbacks_.erase(number);
    dismissed_.erase(number);
  }
  /// Whether a person closed it without having pressed the button.
  bool wasDismissed(const std::string& number) {
    const std::lock_guard lock(mutex_);
    return dismissed_.contains(number);
  }

  void setToken(const std::string& number, std::string token) {
    const std::lock_guard lock(mutex_);
    if (callbacks_.contains(number)) tokens_[number] = std::move(token);
  }
  void activated(const std::string& number) { tell({number, true}); }
  void closed(const std::string& number, bool byPerson) { tell({number, false, byPerson}); }

 private:
  struct Event {
    std::string number;
    bool isActivation;
    bool isByPerson = false;
  };
  struct Callbacks {
    std::function<void(const std::string&)> activated;
    std::function<void()> closed;
    bool wasPressed = false;
  };

  void tell(const Event& event) {
    constexpr std::size_t kMaxEarly = 100;
    std::function<void()> call;
    {
      const std::lock_guard lock(mutex_);
      const auto found = callbacks_.find(event.number);
      if (found == callbacks_.end()) {
        if (early_.size() < kMaxEarly) early_.push_back(event);
        return;
      }
      Callbacks& callbacks = found->second;
      if (event.isActivation) {
        callbacks.wasPressed = true;
        if (auto activated = std::exchange(callbacks.activated, nullptr)) {
          call = [activated, token = tokens_[event.number]] { activated(token); };
        }
      } else {
        // Servers close a notification whose button was pressed.
        if (event.isByPerson && !callbacks.wasPressed) dismissed_.insert(event.number);
        call = std::exchange(callbacks.closed, nullptr);
        callbacks_.erase(found);
        tokens_.erase(event.number);
      }
    }
    // The bus's thread has to go on: what is called may wait for an answer that comes by it.
    // Nor may it wait for a thread of the queue: they may all be at work that it is to end.
    if (call) std::thread(std::move(call)).detach();
  }

  std::mutex mutex_;
  std::map<std::string, Callbacks> callbacks_;
  std::map<std::string, std::string> tokens_;
  std::set<std::string> dismissed_;
  std::vector<Event> early_;
};

/// Reads the signals of notification servers and job views. On the bus's own thread, so that nobody
/// has to run a main loop.
GDBusMessage* readSignal(GDBusConnection*, GDBusMessage* message, gboolean isIncoming,
                         gpointer data) {
  if (isIncoming == FALSE || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_SIGNAL)
    return message;
  auto& shown = **static_cast<std::shared_ptr<Shown>*>(data);
  const std::string interface = g_dbus_message_get_interface(message);
  const std::string member = g_dbus_message_get_member(message);
  GVariant* const body = g_dbus_message_get_body(message);
  const auto isOf = [&](const char* type) {
    return body && g_variant_is_of_type(body, G_VARIANT_TYPE(type)) != FALSE;
  };
  guint32 number = 0;
  const char* text = nullptr;
  if (interface == kName && member == "ActionInvoked" && isOf("(us)")) {
    g_variant_get(body, "(u&s)", &number, &text);
    if (std::string_view(text) == kButton) shown.activated(std::to_string(number));
  } else if (interface == kName && member == "ActivationToken" && isOf("(us)")) {
    g_variant_get(body, "(u&s)", &number, &text);
    shown.setToken(std::to_string(number), text);
  } else if (interface == kName && member == "NotificationClosed" && isOf("(uu)")) {
    constexpr guint32 kByPerson = 2;
    guint32 reason = 0;
    g_variant_get(body, "(uu)", &number, &reason);
    shown.closed(std::to_string(number), reason == kByPerson);
  } else if (interface == kJobView && member == "cancelRequested") {
    shown.activated(g_dbus_message_get_path(message));
  }
  return message;
}

}  // namespace

/// The server of the session, as long as it answers.
class UserNotifications::Server {
 public:
  /// Null where there is none.
  static std::unique_ptr<Server> find(const NotifyingApplication& application,
                                      std::chrono::milliseconds patience) {
    const auto end = std::chrono::steady_clock::now() + patience;
    GErrorSlot error;
    auto bus = connectToSessionBus(patience, error);
    if (!bus) return nullptr;
    auto server = std::unique_ptr<Server>(new Server(application, std::move(bus), patience));
    return server->begin(end) ? std::move(server) : nullptr;
  }
  ~Server() {
    g_dbus_connection_remove_filter(bus_.get(), filter_);
    // What was sent is to arrive, and the connection's own thread to end.
    g_dbus_connection_close_sync(bus_.get(), nullptr, nullptr);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  NSUserNotificationDelivery deliver(const NSUserNotification& notification) {
    const bool isJob = notification.progress && hasJobViews_ && updateJobView(notification);
    if (isJob) {
      closeNotification(notification.identifier);
      return notification.actionButtonTitle.empty() ? NSUserNotificationDelivery::shown
                                                    : NSUserNotificationDelivery::shownWithButton;
    }
    endJobView(notification.identifier);
    return notify(notification);
  }
  void remove(const std::string& identifier) {
    endJobView(identifier);
    closeNotification(identifier);
  }
  bool answers() const { return answers_; }

 private:
  using Reply = GPointer<GVariant>;

  Server(const NotifyingApplication& application, GObjectPointer<GDBusConnection> bus,
         std::chrono::milliseconds patience)
      : name_(application.name.empty() ? "Korvane Share" : application.name),
        entry_(application.entry.empty() ? "korvane-share" : application.entry),
        bus_(std::move(bus)),
        patience_(patience),
        filter_(g_dbus_connection_add_filter(
            bus_.get(), readSignal, new std::shared_ptr<Shown>(shown_),
            [](gpointer data) { delete static_cast<std::shared_ptr<Shown>*>(data); })) {
    g_dbus_connection_set_exit_on_close(bus_.get(), FALSE);
  }

  bool begin(std::chrono::steady_clock::time_point end) {
    const auto whole = patience_;
    const auto waitUntilEnd = [&] {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          end - std::chrono::steady_clock::now());
      patience_ = std::max(left, std::chrono::milliseconds(1));
    };
    for (const char* rule : {"type='signal',interface='org.freedesktop.Notifications'",
                             "type='signal',interface='org.kde.JobViewV3'"}) {
      waitUntilEnd();
      call(kBusName, kBusPath, kBusName, "AddMatch", g_variant_new("(s)", rule), nullptr);
    }
    waitUntilEnd();
    // The one call that may start a server.
    const Reply capabilities =
        call(kName, kPath, kName, "GetCapabilities", nullptr, "(as)", G_DBUS_CALL_FLAGS_NONE);
    if (!capabilities) return false;
    const GPointer<GVariant> list(g_variant_get_child_value(capabilities.get(), 0));
    GVariantIter iterator;
    g_variant_iter_init(&iterator, list.get());
    const char* capability = nullptr;
    while (g_variant_iter_next(&iterator, "&s", &capability)) capabilities_.insert(capability);
    const Reply hasOwner =
        call(kBusName, kBusPath, kBusName, "NameHasOwner", g_variant_new("(s)", kJobServer), "(b)");
    gboolean isOwned = FALSE;
    if (hasOwner) g_variant_get(hasOwner.get(), "(b)", &isOwned);
    hasJobViews_ = isOwned != FALSE;
    patience_ = whole;
    return true;
  }

  Reply call(const char* name, const char* path, const char* interface, const char* method,
             GVariant* parameters, const char* type,
             GDBusCallFlags flags = G_DBUS_CALL_FLAGS_NO_AUTO_START, GError** error = nullptr) {
    return Reply(g_dbus_connection_call_sync(bus_.get(), name, path, interface, method, parameters,
                                             type ? G_VARIANT_TYPE(type) : nullptr, flags,
                                             static_cast<int>(patience_.count()), nullptr, error));
  }

  bool has(const char* capability) const { return capabilities_.contains(capability); }

  NSUserNotificationDelivery notify(const NSUserNotification& notification) {
    const bool hasButton = !notification.actionButtonTitle.empty() && has("actions");
    const auto before = numbers_.find(notification.identifier);
    guint32 replaced = before == numbers_.end() ? 0 : before->second;
    if (notification.progress && hasButton && shown_->wasDismissed(std::to_string(replaced))) {
      return NSUserNotificationDelivery::shown;
    }
    GErrorSlot error;
    Reply reply = send(notification, hasButton, replaced, G_DBUS_CALL_FLAGS_NO_AUTO_START, error);
    if (!reply && !error.is(G_IO_ERROR, G_IO_ERROR_TIMED_OUT)) {
      // The server has ended, and what it showed with it; the bus may start another one.
      for (const auto& [identifier, number] : numbers_) shown_->forget(std::to_string(number));
      numbers_.clear();
      replaced = 0;
      GErrorSlot ignored;
      reply = send(notification, hasButton, replaced, G_DBUS_CALL_FLAGS_NONE, ignored);
    }
    if (!reply) {
      answers_ = false;
      return NSUserNotificationDelivery::notShown;
    }
    guint32 number = 0;
    g_variant_get(reply.get(), "(u)", &number);
    if (replaced != 0) shown_->forget(std::to_string(replaced));
    numbers_[notification.identifier] = number;
    shown_->set(std::to_string(number), notification);
    return hasButton ? NSUserNotificationDelivery::shownWithButton
                     : NSUserNotificationDelivery::shown;
  }

  Reply send(const NSUserNotification& notification, bool hasButton, guint32 replaced,
             GDBusCallFlags flags, GErrorSlot& error) {
    const std::string text = validText(textOf(notification));
    GVariantBuilder actions;
    g_variant_builder_init(&actions, G_VARIANT_TYPE_STRING_ARRAY);
    if (hasButton) {
      g_variant_builder_add(&actions, "s", kButton);
      g_variant_builder_add(&actions, "s", validText(notification.actionButtonTitle).c_str());
    }
    GVariantBuilder hints;
    g_variant_builder_init(&hints, G_VARIANT_TYPE_VARDICT);
    if (notification.progress) {  // nothing to be kept in a list
      g_variant_builder_add(&hints, "{sv}", "transient", g_variant_new_boolean(TRUE));
    }
    constexpr int kUntilItIsClosed = 0;
    return call(kName, kPath, kName, "Notify",
                g_variant_new("(susssasa{sv}i)", name_.c_str(), replaced, kIcon,
                              validText(notification.title).c_str(),
                              (has("body-markup") ? withoutMarkup(text) : text).c_str(), &actions,
                              &hints, kUntilItIsClosed),
                "(u)", flags, error.out());
  }

  void closeNotification(const std::string& identifier) {
    const auto found = numbers_.find(identifier);
    if (found == numbers_.end()) return;
    shown_->forget(std::to_string(found->second));
    call(kName, kPath, kName, "CloseNotification", g_variant_new("(u)", found->second), nullptr);
    numbers_.erase(found);
  }

  bool updateJobView(const NSUserNotification& notification) {
    auto found = jobViews_.find(notification.identifier);
    if (found == jobViews_.end()) {
      const int capabilities = notification.actionButtonTitle.empty() ? 0 : kKillable;
      GVariantBuilder hints;
      g_variant_builder_init(&hints, G_VARIANT_TYPE_VARDICT);
      g_variant_builder_add(&hints, "{sv}", "immediate", g_variant_new_boolean(TRUE));
      const Reply reply =
          call(kJobServer, "/JobViewServer", "org.kde.JobViewServerV2", "requestView",
               g_variant_new("(sia{sv})", entry_.c_str(), capabilities, &hints), "(o)");
      if (!reply) {
        hasJobViews_ = false;
        return false;
      }
      const char* path = nullptr;
      g_variant_get(reply.get(), "(&o)", &path);
      found = jobViews_.emplace(notification.identifier, path).first;
    }
    shown_->set(found->second, notification);
    GVariantBuilder update;
    g_variant_builder_init(&update, G_VARIANT_TYPE_VARDICT);
    const auto add = [&](const char* key, GVariant* value) {
      g_variant_builder_add(&update, "{sv}", key, value);
    };
    add("title", g_variant_new_string(validText(notification.title).c_str()));
    add("infoMessage", g_variant_new_string(validText(notification.informativeText).c_str()));
    const double part = *notification.progress;
    if (part >= 0) {
      add("percent", g_variant_new_uint32(static_cast<guint32>(std::min(part, 1.0) * 100)));
    }
    call(kJobServer, found->second.c_str(), kJobView, "update", g_variant_new("(a{sv})", &update),
         nullptr);
    return true;
  }

  void endJobView(const std::string& identifier) {
    const auto found = jobViews_.find(identifier);
    if (found == jobViews_.end()) return;
    shown_->forget(found->second);
    GVariantBuilder hints;
    g_variant_builder_init(&hints, G_VARIANT_TYPE_VARDICT);
    call(kJobServer, found->second.c_str(), kJobView, "terminate",
         g_variant_new("(usa{sv})", guint32{0}, "", &hints), nullptr);
    jobViews_.erase(found);
  }

  const std::string name_;   // of the application, for people
  const std::string entry_;  // its desktop entry
  const std::shared_ptr<Shown> shown_ = std::make_shared<Shown>();
  const GObjectPointer<GDBusConnection> bus_;
  std::chrono::milliseconds patience_;
  const guint filter_;
  std::set<std::string> capabilities_;
  bool hasJobViews_ = false;
  bool answers_ = true;
  std::map<std::string, guint32> numbers_;       // of notifications, by identifier
  std::map<std::string, std::string> jobViews_;  // their object paths, by identifier
};

UserNotifications::UserNotifications(NotifyingApplication application,
                                     std::chrono::milliseconds patience)
    : application_(std::move(application)), patience_(patience) {}

UserNotifications::~UserNotifications() = default;

NSUserNotificationDelivery UserNotifications::deliverNotification(
    const NSUserNotification& notification) {
  const std::lock_guard lock(mutex_);
  if (!std::exchange(wasLookedFor_, true)) server_ = Server::find(application_, patience_);
  if (!server_) return NSUserNotificationDelivery::notShown;
  const auto delivery = server_->deliver(notification);
  if (!server_->answers()) server_.reset();
  return delivery;
}

void UserNotifications::removeDeliveredNotification(std::string_view identifier) {
  const std::lock_guard lock(mutex_);
  if (server_) server_->remove(std::string(identifier));
}

}  // namespace korvane
