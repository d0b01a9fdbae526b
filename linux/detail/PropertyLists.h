#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "linux/detail/ContainerRoot.h"
#include "platform/Export.h"
#include "platform/NSPropertyList.h"
#include "platform/Value.h"

namespace korvane {

/// Property lists in files: the XML form (UTF-8, UTF-16 or UTF-32 with a mark, or the encoding that
/// the declaration names) and the binary form. Any thread may call.
///
/// A file is read whole and in one go. A symbolic link in the last place of the path or anywhere
/// inside the container, anything that is not a regular file, and a file over kMaxPropertyList
/// count as unreadable, and none of them blocks.
class KORVANE_EXPORT PropertyLists : public PropertyListReader {
 public:
  explicit PropertyLists(ContainerRoot container = {}) : container_(std::move(container)) {}

  std::optional<List> arrayWithContentsOfURL(const NSURL& url) override;

 private:
  const ContainerRoot container_;
};

/// Files of more bytes are not read.
inline constexpr std::size_t kMaxPropertyList = std::size_t{1} << 30;

/// The value that a file holds, of any kind; nothing when the file is missing, unreadable or
/// malformed. A symbolic link is followed: this is for files that were installed, not for files in
/// a folder that others write to. `path` is bytes as the file system has them.
KORVANE_EXPORT std::optional<Value> readPropertyList(const std::string& path);

}  // namespace korvane
