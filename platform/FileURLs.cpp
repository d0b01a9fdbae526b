// What of NSURL asks the file manager. Apart from the rest, since file managers speak of URLs.
#include <filesystem>
#include <string>
#include <system_error>

#include "platform/NSFileManager.h"
#include "platform/NSURL.h"
#include "text/URLCharacters.h"

namespace korvane {

NSURL NSURL::fileURLWithPath(std::string_view path) {
  std::string absolute;
  if (!path.starts_with('/')) {
    std::error_code failure;
    absolute = std::filesystem::current_path(failure).native();
    if (!absolute.ends_with('/')) absolute += '/';
  }
  absolute += path;
  if (!absolute.ends_with('/') &&
      NSFileManager::defaultManager()->directoryExistsAtPath(absolute)) {
    absolute += '/';
  }
  return fromValidText("file://" + urlcharacters::encodedPath(absolute));
}

}  // namespace korvane
