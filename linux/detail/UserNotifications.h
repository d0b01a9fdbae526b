#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/NSUserNotificationCenter.h"

namespace korvane {

/// Who is named as showing notifications and jobs; an empty text stands for the regular edition's.
struct KORVANE_EXPORT NotifyingApplication {
  /// For people.
  std::string name{};
  /// The name of the desktop entry without ".desktop".
  std::string entry{};
};

/// Notifications of the desktop: org.freedesktop.Notifications on the session bus; for work that
/// goes on KDE's job view (org.kde.JobViewServerV2), where somebody has one.
///
/// A server is looked for when the first notification is shown, and started where it can be; one
/// that is not there, or does not answer in time, is not asked again. What it cannot do is left
/// out: a button where it shows none. The texts are escaped for servers that take markup.
///
/// A server that ended meanwhile is started again where it can be, so that a message is not lost.
/// Progress whose notification the person closed is not shown again.
///
/// The desktop entry of the program is named to job views alone: some desktops take away the
/// notifications of such a program as soon as it ends.
class KORVANE_EXPORT UserNotifications : public NSUserNotificationCenter {
 public:
  /// `patience` is how long a server may take to answer.
  explicit UserNotifications(NotifyingApplication application = {},
                             std::chrono::milliseconds patience = std::chrono::seconds(5));
  /// Messages stay; nothing is called back any more. Progress is to be taken away before.
  ~UserNotifications() override;
  UserNotifications(const UserNotifications&) = delete;
  UserNotifications& operator=(const UserNotifications&) = delete;

  NSUserNotificationDelivery deliverNotification(const NSUserNotification& notification) override;
  void removeDeliveredNotification(std::string_view identifier) override;

 private:
  class Server;

  const NotifyingApplication application_;
  const std::chrono::milliseconds patience_;
  std::mutex mutex_;
  bool wasLookedFor_ = false;
  std::unique_ptr<Server> server_;  // null where there is none
};

}  // namespace korvane
