#pragma once

#include <optional>
#include <string>

namespace korvane {

/// The version of xdg-desktop-portal that the session bus would start, as that tells it itself:
/// "1.16.0". Absent where there is none or it does not tell. Looks into the data folders of the
/// environment; runs the program, for ten seconds at most.
std::optional<std::string> desktopPortalVersion();

/// Whether a version reads portals.conf. True for what is not a version.
bool readsPortalsConf(const std::string& version);

}  // namespace korvane
