#pragma once

#include <string>
#include <string_view>

namespace korvane {

/// What findMisreadPath() found.
struct MisreadPath {
  /// The path of the file that is meant; the one given where none was found.
  std::string path;
  /// Whether several files may be meant, and none was taken.
  bool isAmbiguous = false;
};

/// The file that a path means in which another program has put U+FFFD in the place of bytes that
/// are not UTF-8, as KDE's programs do before they hand a path on. A path at which something is, or
/// that holds no U+FFFD, is meant as it stands. Any other is looked for, folder by folder, as the
/// one path that reads so: with a U+FFFD for each byte that is not UTF-8, or one for each
/// unfinished character. A path that is not absolute is meant as it stands, too. Reads the folders
/// whose names are in doubt and may wait for a disk or a network. Any thread may call.
MisreadPath findMisreadPath(std::string_view path);

}  // namespace korvane
