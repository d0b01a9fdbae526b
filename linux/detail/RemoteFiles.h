#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Export.h"

namespace korvane {

/// Whether URLs of the scheme (any case) name files that the desktop may have mounted: "sftp",
/// "smb", "mtp", "trash" and their like; web addresses never.
KORVANE_EXPORT bool isRemoteFileScheme(std::string_view scheme);

/// The local path of such a URL's file: its place below the desktop's FUSE mount, or where the
/// entry of a collection such as trash: leads. Nothing when the desktop has none. May wait for the
/// desktop's file system service. Any thread may call.
KORVANE_EXPORT std::optional<std::string> localPathOfRemoteFile(const std::string& url);

}  // namespace korvane
