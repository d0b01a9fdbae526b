#pragma once

#include <optional>
#include <string>

namespace korvane {

/// Lets a Flatpak's application read one file, through the desktop's documents portal; gives the
/// path at which the application sees it. Nothing where there is no portal or it refuses. Any
/// thread may call; waits for the portal's answer, 30 seconds at most.
std::optional<std::string> documentFor(const std::string& path, const std::string& application);

}  // namespace korvane
