#pragma once

#include <optional>
#include <string>
#include <vector>

#include "linux/detail/DesktopEntry.h"

namespace korvane {

/// Starts a program as a process of its own: another session, standard streams closed to it, the
/// activation in XDG_ACTIVATION_TOKEN and DESKTOP_STARTUP_ID and neither variable where there is
/// none. Nothing when it was started; else why not, for people. Any thread may call.
std::optional<std::string> startProgram(const std::vector<std::string>& command,
                                        const Activation& activation);

}  // namespace korvane
