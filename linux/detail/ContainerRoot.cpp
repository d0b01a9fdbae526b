#include "linux/detail/ContainerRoot.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "platform/NSFileManager.h"

namespace korvane {
namespace {

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

std::string homeFolder() {
  if (std::string home = environment("HOME"); home.starts_with('/')) return home;
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> buffer(16384);
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found) {
    return {};
  }
  return found->pw_dir ? found->pw_dir : "";
}

std::optional<std::string> defaultPath() {
  std::string data = environment("XDG_DATA_HOME");
  if (!data.starts_with('/')) {
    const std::string home = homeFolder();
    if (!home.starts_with('/')) return std::nullopt;
    data = home + "/.local/share";
  }
  return data + "/" + kApplicationGroup;
}

/// `path` relative to `folder`, both normalised.
std::optional<std::string> relativeTo(const std::string& folder, const std::string& path) {
  if (path == folder) return std::string();
  if (folder == "/") return path.substr(1);
  if (path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/') {
    return path.substr(folder.size() + 1);
  }
  return std::nullopt;
}

}  // namespace

std::vector<std::string> pathComponents(std::string_view path) {
  std::vector<std::string> components;
  while (!path.empty()) {
    const std::size_t slash = path.find('/');
    const std::string_view component = path.substr(0, slash);
    path.remove_prefix(slash == std::string_view::npos ? path.size() : slash + 1);
    if (component.empty() || component == ".") continue;
    if (component != "..") {
      components.emplace_back(component);
    } else if (!components.empty()) {
      components.pop_back();
    }
  }
  return components;
}

std::string normalisedPath(std::string_view path) {
  std::string absolute(path);
  if (!path.starts_with('/')) {
    std::error_code ignored;
    absolute = std::filesystem::current_path(ignored).string() + "/" + absolute;
  }
  std::string result;
  for (const std::string& component : pathComponents(absolute)) result += "/" + component;
  return result.empty() ? "/" : result;
}

ContainerRoot::ContainerRoot() : ContainerRoot(defaultPath()) {}

ContainerRoot::ContainerRoot(const std::optional<std::string>& path) {
  if (!path || !path->starts_with('/')) return;
  path_ = normalisedPath(*path);
  // What does not exist yet cannot be a link.
  std::error_code error;
  resolved_ = std::filesystem::weakly_canonical(*path_, error).string();
  if (error) resolved_ = *path_;
}

std::optional<std::string> ContainerRoot::relativePath(std::string_view itemPath) const {
  if (!path_) return std::nullopt;
  const std::string item = normalisedPath(itemPath);
  if (auto relative = relativeTo(*path_, item)) return relative;
  return relativeTo(resolved_, item);
}

}  // namespace korvane
