#pragma once

#include <chrono>
#include <string>
#include <variant>

#include "platform/Export.h"

namespace korvane {

/// Why there is no picture of the screen.
struct NoScreenshot {
  /// The person decided against it.
  bool isCancelled = false;
  /// One line for people.
  std::string reason;
};

/// Has the desktop take a picture of the screen, as the person chooses it in the desktop's own
/// dialogue (the interface org.freedesktop.portal.Screenshot, interactive). Gives the path of the
/// file that the desktop made, which is the person's to keep. The session bus has `patience` to
/// take the connection, and the portal ten seconds to take the request; the person takes as long as
/// they like. Ends when the portal does. Any thread may call.
KORVANE_EXPORT std::variant<std::string, NoScreenshot> takeScreenshot(
    std::chrono::milliseconds patience = std::chrono::seconds(5));

}  // namespace korvane
