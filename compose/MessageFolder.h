#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "compose/InstalledClient.h"

namespace korvane {

/// How long the files of a message are kept, in days: clients read attachments when they send.
inline constexpr int kKeptDays = 7;

/// The folder of one message, below that of all messages: the user's alone (0700).
struct MessageFolder {
  /// Absolute; UTF-8 without control characters.
  std::string path;

  /// Where the attachments lie.
  std::string attachments() const { return path + "/attachments"; }
};

/// Makes a new folder for a message to this client, and removes those that are older than
/// kKeptDays. It lies in ${XDG_CACHE_HOME}/korvane-compose; for a Snap, which does not see that, in
/// a folder that it sees. Nothing where none can be made, with the reason. Any thread may call.
std::optional<MessageFolder> makeMessageFolder(const InstalledClient& client, std::string& reason);

}  // namespace korvane
