#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "platform/Export.h"

namespace korvane {

/// What the desktop's file services know of a file's name. Views on texts that the caller keeps.
struct RemoteNames {
  std::string_view name;     ///< what leads to it: bytes, an identifier on some devices
  std::string_view display;  ///< what file managers show: UTF-8, as are the next two; may be empty
  std::string_view edit;     ///< what they show for it to be changed
  std::string_view copy;     ///< what a copy is to be called
};

/// The name for a copy of the file: one component of a path, as file managers show it, of no more
/// bytes than file systems take. A name that is not UTF-8 keeps its bytes, and one that is shown
/// without the extension that it has keeps that. Any thread may call.
KORVANE_EXPORT std::string remoteName(const RemoteNames& names);

/// The name, or where that is not free the first free one with a number before its extension.
KORVANE_EXPORT std::string freeName(const std::string& name,
                                    const std::function<bool(const std::string& name)>& isFree);

}  // namespace korvane
