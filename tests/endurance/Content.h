#pragma once

// What lies in a file or folder, in one short text.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace korvane::testing {

/// " NAME=HASH" of a file, or of every file in a folder, by name; " NAME=missing" where there is
/// none. A PNG is " NAME=png" where it is whole: how it is compressed is nobody's business.
inline std::string describeFiles(const std::filesystem::path& path) {
  namespace fs = std::filesystem;
  std::error_code error;
  const auto one = [&](const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    const std::string name = " " + file.lexically_relative(path.parent_path()).string() + "=";
    if (!stream) return name + "missing";
    if (bytes.starts_with("\x89PNG")) {
      return name + (bytes.ends_with("IEND\xAE\x42\x60\x82") ? "png" : "broken");
    }
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const char byte : bytes) hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
    return name + text;
  };
  if (!fs::is_directory(path, error)) return one(path);
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(path, error)) {
    if (!entry.is_directory(error)) files.push_back(entry.path());
  }
  std::ranges::sort(files);
  std::string text;
  for (const fs::path& file : files) text += one(file);
  return text;
}

}  // namespace korvane::testing
