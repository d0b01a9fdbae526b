#include "host/Paths.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>

#include "platform/NSString.h"

namespace korvane {

std::string absolutePath(std::string_view path) {
  const std::string name = lastPathComponent(path);
  if (name == "." || name == "..") {
    struct Free {
      void operator()(char* memory) const { std::free(memory); }
    };
    const std::unique_ptr<char, Free> real(realpath(std::string(path).c_str(), nullptr));
    if (real) return real.get();
  }
  if (path.starts_with('/')) return std::string(path);
  std::error_code failure;
  const std::string folder = std::filesystem::current_path(failure).string();
  if (failure) return std::string(path);
  return folder + (folder.ends_with('/') ? "" : "/") + std::string(path);
}

}  // namespace korvane
