#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"

namespace korvane {

/// The components of a path, without empty ones and "."; ".." takes away the one before it.
std::vector<std::string> pathComponents(std::string_view path);

/// The absolute path without ".", "..", doubled or trailing slashes ("/" alone keeps its own); a
/// relative path is taken from the working directory. Links are not looked at.
std::string normalisedPath(std::string_view path);

/// Where the container of the application group lies. Immutable; any thread may use it.
class KORVANE_EXPORT ContainerRoot {
 public:
  /// The container in the user's data folder: $XDG_DATA_HOME where that is an absolute path, else
  /// ".local/share" in the home folder ($HOME, else what the user database says). Without a home
  /// there is no container.
  ContainerRoot();
  /// A container at this absolute path; none for an absent, empty or relative one.
  explicit ContainerRoot(const std::optional<std::string>& path);

  /// The container's normalised path; absent when there is none. The folder need not exist.
  const std::optional<std::string>& path() const { return path_; }

  /// The path of an item relative to the container: "SharedData/Share", "" for the container
  /// itself, nothing for an item outside. An item is inside when its normalised path begins with
  /// the container's or with what that resolved to, links followed, when this was made.
  std::optional<std::string> relativePath(std::string_view itemPath) const;

 private:
  std::optional<std::string> path_;
  std::string resolved_;
};

}  // namespace korvane
