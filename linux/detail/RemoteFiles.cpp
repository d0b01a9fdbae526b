#include "linux/detail/RemoteFiles.h"

#include <gio/gio.h>

#include <algorithm>
#include <array>
#include <memory>

namespace korvane {
namespace {

struct Unref {
  void operator()(void* object) const { g_object_unref(object); }
};
struct Free {
  void operator()(void* memory) const { g_free(memory); }
};

std::optional<std::string> pathOf(GFile* file) {
  const std::unique_ptr<char, Free> path(g_file_get_path(file));
  if (!path) return std::nullopt;
  return std::string(path.get());
}

}  // namespace

bool isRemoteFileScheme(std::string_view scheme) {
  static constexpr std::array<std::string_view, 22> kSchemes{
      "admin",  "afc",  "afp",          "archive", "burn",    "cdda", "computer", "dav",
      "davs",   "ftp",  "ftpis",        "ftps",    "gphoto2", "mtp",  "network",  "nfs",
      "recent", "sftp", "google-drive", "smb",     "ssh",     "trash"};
  return std::any_of(kSchemes.begin(), kSchemes.end(), [&](std::string_view known) {
    return std::equal(known.begin(), known.end(), scheme.begin(), scheme.end(),
                      [](char a, char b) { return a == (b >= 'A' && b <= 'Z' ? b + 32 : b); });
  });
}

std::optional<std::string> localPathOfRemoteFile(const std::string& url) {
  const std::unique_ptr<GFile, Unref> file(g_file_new_for_uri(url.c_str()));
  if (auto path = pathOf(file.get())) return path;
  const std::unique_ptr<GFileInfo, Unref> info(g_file_query_info(
      file.get(), G_FILE_ATTRIBUTE_STANDARD_TARGET_URI, G_FILE_QUERY_INFO_NONE, nullptr, nullptr));
  if (!info) return std::nullopt;
  const char* target =
      g_file_info_get_attribute_string(info.get(), G_FILE_ATTRIBUTE_STANDARD_TARGET_URI);
  if (!target) return std::nullopt;
  const std::unique_ptr<GFile, Unref> targetFile(g_file_new_for_uri(target));
  return pathOf(targetFile.get());
}

}  // namespace korvane
