#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/NSURL.h"

namespace korvane {

/// What lets an application that is started or called come to the front.
struct Activation {
  /// Of Wayland desktops.
  std::optional<std::string> token;
  /// Of X11 desktops.
  std::optional<std::string> startupId;
};

/// Opens the URLs with the program that the Exec line of the desktop entry `identifier`.desktop
/// names, as a process of its own: another session, standard streams closed to it. The program gets
/// the activation in XDG_ACTIVATION_TOKEN and DESKTOP_STARTUP_ID, and neither variable where there
/// is none. Nothing when the program was started; else why not, a line for people that holds no
/// URL. Any thread may call.
std::optional<std::string> launchDesktopEntry(std::string_view identifier,
                                              const std::vector<NSURL>& urls,
                                              const Activation& activation);

}  // namespace korvane
