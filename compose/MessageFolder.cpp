#include "compose/MessageFolder.h"

#include <glib.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "compose/MailText.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;

constexpr const char* kName = "korvane-compose";
constexpr std::string_view kPrefix = "message-";

/// Whether the path lies in the folder with no hidden folder between: what Snaps see of a home.
bool isVisibleIn(const std::string& home, const std::string& path) {
  return path.starts_with(home + "/") && path.find("/.", home.size()) == path.npos;
}

std::string parentFor(const InstalledClient& client) {
  if (client.snap.empty()) return std::string(g_get_user_cache_dir()) + "/" + kName;
  const std::string home = g_get_home_dir();
  std::error_code error;
  const std::string own = home + "/snap/" + client.snap + "/common";
  if (fs::is_directory(own, error)) return own + "/" + kName;
  for (const GUserDirectory kind : {G_USER_DIRECTORY_DOWNLOAD, G_USER_DIRECTORY_DOCUMENTS}) {
    const char* folder = g_get_user_special_dir(kind);
    if (folder && isVisibleIn(home, folder)) return std::string(folder) + "/" + kName;
  }
  return home + "/" + kName;
}

bool isMessageFolder(const fs::path& path, struct stat& status) {
  return path.filename().string().starts_with(kPrefix) && ::lstat(path.c_str(), &status) == 0 &&
         S_ISDIR(status.st_mode);
}

void removeOld(const std::string& parent) {
  const time_t oldest = ::time(nullptr) - time_t{kKeptDays} * 24 * 60 * 60;
  std::error_code error;
  for (auto entry = fs::directory_iterator(parent, error);
       !error && entry != fs::directory_iterator(); entry.increment(error)) {
    struct stat status = {};
    if (!isMessageFolder(entry->path(), status) || status.st_mtime >= oldest) continue;
    std::error_code ignored;  // the next message tries again
    fs::remove_all(entry->path(), ignored);
  }
}

}  // namespace

std::optional<MessageFolder> makeMessageFolder(const InstalledClient& client, std::string& reason) {
  const std::string parent = parentFor(client);
  if (!parent.starts_with('/') || !isPlainPath(parent)) {
    reason = translated("the folder for messages has a name that mail clients do not take");
    return std::nullopt;
  }
  if (g_mkdir_with_parents(parent.c_str(), S_IRWXU) != 0 || ::chmod(parent.c_str(), S_IRWXU) != 0) {
    reason = translated("the folder for messages cannot be made: {0}", std::strerror(errno));
    return std::nullopt;
  }
  removeOld(parent);
  MessageFolder folder{parent + "/" + std::string(kPrefix) + "XXXXXX"};
  if (!::mkdtemp(folder.path.data()) || ::mkdir(folder.attachments().c_str(), S_IRWXU) != 0) {
    reason = translated("the folder for the message cannot be made: {0}", std::strerror(errno));
    return std::nullopt;
  }
  return folder;
}

}  // namespace korvane
