#pragma once

#include <string>
#include <string_view>

#include "platform/Export.h"

namespace korvane {

/// Unique file names.
class KORVANE_EXPORT Drelk_Fs {
 public:
  /// The path of a file that does not exist yet: `folder`, "/" and `name`, with "_1", "_2" and so
  /// on before the name's extension until nothing is at that path; a link that leads nowhere is
  /// something. The extension is what follows the last ".", unless that begins the name; a "." at
  /// the end goes ("notes." gives "notes"). `name` is one component, bytes as the file system has
  /// them; a "/" in it is not looked at. Any thread may call; the search and a later write are not
  /// one step, so writers coordinate. A name over 255 bytes, which no file could have, is shortened
  /// before its extension, at a character's end.
  static std::string GetGoodPath(std::string_view name, std::string_view folder);
};

}  // namespace korvane
