#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "compose/LeftOut.h"

namespace korvane {

/// A file that a message carries, in the message's own folder.
struct TakenFile {
  /// The name in the message.
  std::string name;
  /// Absolute.
  std::string path;
  std::uint64_t size = 0;
};

/// Copies the attachments that a command URL names (absolute paths) out of the staging folder of
/// this program's edition into `folder`, which exists and is empty, in one coordinated access.
/// Folders become zip files. Each copy has the attachment's own name, made fit for mail; a name
/// that is there already gets "_1", "_2" and so on. The copies are the user's alone (0600).
///
/// Only what lies in the staging folder is taken: every step is made from that folder's descriptor,
/// none leads through a link or out of it, and nothing there is renamed or removed. Whatever else
/// is named, what is neither a file nor a folder and what cannot be read is left out. Links in
/// folders are left out. Any thread may call.
std::vector<TakenFile> takeStagedFiles(const std::vector<std::string>& paths,
                                       const std::string& folder, LeftOutList& leftOut);

}  // namespace korvane
