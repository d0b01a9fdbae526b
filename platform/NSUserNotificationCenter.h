#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Export.h"

namespace korvane {

/// What a person is shown beside the windows. All texts are UTF-8 and plain: nothing in them is
/// markup, whatever it looks like.
struct KORVANE_EXPORT NSUserNotification {
  /// A notification takes the place of the one shown before it with the same identifier.
  std::string identifier;
  /// One line.
  std::string title;
  /// What there is to say, in lines.
  std::string informativeText{};
  /// The label of the one button; empty for none.
  std::string actionButtonTitle{};
  /// Called once, when the button is pressed, on a thread of its own; may be empty.
  /// With what lets the window that is opened come to the front; empty where the desktop gives
  /// nothing.
  std::function<void(const std::string& activationToken)> activated{};
  /// Called when the notification was closed by somebody else, in the same way; may be empty.
  std::function<void()> closed{};
  /// For work that goes on: how much of it is done, from 0 to 1, or less than 0 where nobody knows.
  /// Absent for a message, which stays until the person has closed it.
  std::optional<double> progress{};
};

/// What became of a notification.
enum class NSUserNotificationDelivery {
  notShown,         ///< nobody shows notifications here
  shown,            ///< but without the button, where there was to be one
  shownWithButton,  ///< with it
};

/// Notifications; a service of the Platform. Any thread may call.
///
/// One share, or another piece of work, has one identifier, and goes from its progress to what the
/// person should know at the end:
///
///     const auto center = NSUserNotificationCenter::defaultUserNotificationCenter();
///     center->deliverNotification({.identifier = "fetch", .title = "Send by Mail",
///                                  .informativeText = text, .actionButtonTitle = "Cancel",
///                                  .activated = cancel, .progress = 0.5});
///     center->removeDeliveredNotification("fetch");                       // where all is well
///     center->deliverNotification({.identifier = "fetch", .title = …});   // where it is not
///
/// A call takes a few milliseconds where somebody shows notifications, and at most five seconds
/// where somebody should and does not answer; nobody is asked a second time then. A message stays
/// when the process has ended, but its button does nothing any more.
class KORVANE_EXPORT NSUserNotificationCenter {
 public:
  virtual ~NSUserNotificationCenter() = default;

  /// The center of the installed Platform.
  static std::shared_ptr<NSUserNotificationCenter> defaultUserNotificationCenter();

  /// Shows the notification.
  virtual NSUserNotificationDelivery deliverNotification(
      const NSUserNotification& notification) = 0;
  /// Takes away the notification that is shown with this identifier; nothing where there is none.
  /// `closed` is not called.
  virtual void removeDeliveredNotification(std::string_view identifier) = 0;
};

}  // namespace korvane
