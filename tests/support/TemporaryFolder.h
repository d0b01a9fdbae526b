#pragma once

// A fresh folder for a test, below the system's folder for temporary files.

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace korvane::testing {

/// Made when it comes, removed with all it holds when it goes.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string path = std::filesystem::canonical(std::filesystem::temp_directory_path()).string();
    path += "/korvane-test-XXXXXX";
    if (!::mkdtemp(path.data())) throw std::runtime_error("no temporary folder: " + path);
    path_ = path;
  }
  ~TemporaryFolder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
    if (!error) return;
    // Something inside denies its owner access.
    for (auto entry = std::filesystem::recursive_directory_iterator(
             path_, std::filesystem::directory_options::skip_permission_denied, error);
         entry != std::filesystem::recursive_directory_iterator(); entry.increment(error)) {
      if (entry->is_directory(error) && !entry->is_symlink(error)) {
        std::filesystem::permissions(entry->path(), std::filesystem::perms::owner_all, error);
      }
    }
    std::filesystem::remove_all(path_, error);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  /// Absolute, without links and without a trailing "/".
  const std::string& path() const { return path_; }
  /// The path of something inside: "sub/file".
  std::string path(std::string_view relative) const { return path_ + "/" + std::string(relative); }

  /// Makes a file, with the folders above it, and gives its path.
  std::string file(std::string_view relative, std::string_view content = {}) const {
    std::string where = path(relative);
    std::filesystem::create_directories(std::filesystem::path(where).parent_path());
    std::ofstream stream(where, std::ios::binary);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    stream.close();
    if (!stream) throw std::runtime_error("cannot write " + where);
    return where;
  }
  /// Makes a folder, with those above it, and gives its path.
  std::string folder(std::string_view relative) const {
    std::string where = path(relative);
    std::filesystem::create_directories(where);
    return where;
  }

 private:
  std::string path_;
};

/// The bytes of a file; a file that cannot be read throws.
inline std::string contentOf(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) throw std::runtime_error("cannot read " + path);
  std::ostringstream content;
  content << stream.rdbuf();
  return content.str();
}

/// The rights of what lies at a path (a link's own), as chmod takes them.
inline unsigned modeOf(const std::string& path) {
  struct stat status = {};
  if (::lstat(path.c_str(), &status) != 0) throw std::runtime_error("nothing is at " + path);
  return status.st_mode & 07777;
}

}  // namespace korvane::testing
