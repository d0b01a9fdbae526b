#include "linux/detail/RemoteFiles.h"

#include <algorithm>
#include <array>

#include "linux/detail/GLibPointer.h"
#include "text/ASCII.h"

namespace korvane {
namespace {

std::optional<std::string> pathOf(GFile* file) {
  const GPointer<char> path(g_file_get_path(file));
  if (!path) return std::nullopt;
  return std::string(path.get());
}

}  // namespace

bool isRemoteFileScheme(std::string_view scheme) {
  static constexpr std::array<std::string_view, 22> kSchemes{
      "admin",  "afc",  "afp",          "archive", "burn",    "cdda", "computer", "dav",
      "davs",   "ftp",  "ftpis",        "ftps",    "gphoto2", "mtp",  "network",  "nfs",
      "recent", "sftp", "google-drive", "smb",     "ssh",     "trash"};
  return std::any_of(kSchemes.begin(), kSchemes.end(),
                     [&](std::string_view known) { return equalIgnoringCase(known, scheme); });
}

std::optional<std::string> localPathOfRemoteFile(const std::string& url) {
  const GObjectPointer<GFile> file(g_file_new_for_uri(url.c_str()));
  if (auto path = pathOf(file.get())) return path;
  const GObjectPointer<GFileInfo> info(g_file_query_info(
      file.get(), G_FILE_ATTRIBUTE_STANDARD_TARGET_URI, G_FILE_QUERY_INFO_NONE, nullptr, nullptr));
  if (!info) return std::nullopt;
  const char* target =
      g_file_info_get_attribute_string(info.get(), G_FILE_ATTRIBUTE_STANDARD_TARGET_URI);
  if (!target) return std::nullopt;
  const GObjectPointer<GFile> targetFile(g_file_new_for_uri(target));
  return pathOf(targetFile.get());
}

}  // namespace korvane
