#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Export.h"
#include "platform/NSPropertyList.h"
#include "platform/Value.h"
#include "platform/linux/ContainerRoot.h"

namespace korvane {

/// Property lists in files: the XML form (UTF-8, UTF-16 or UTF-32 with a mark, or the encoding that
/// the declaration names) and the binary form. Any thread may call.
///
/// A file is read whole and in one go. A symbolic link in the last place of the path or anywhere
/// inside the container, anything that is no regular file, and a file over kLargestPropertyList
/// count as unreadable, and none of them blocks.
class KORVANE_EXPORT PropertyLists : public PropertyListReader {
 public:
  explicit PropertyLists(ContainerRoot container = {}) : container_(std::move(container)) {}

  std::optional<List> arrayWithContentsOfURL(const NSURL& url) override;

 private:
  const ContainerRoot container_;
};

/// Files of more bytes are not read.
inline constexpr std::size_t kLargestPropertyList = std::size_t{1} << 30;

/// Lists and dictionaries inside one another beyond this many make a property list malformed.
inline constexpr std::size_t kDeepestPropertyList = 512;

/// The value that a file holds, of any kind; nothing when the file is missing, unreadable or
/// malformed. A symbolic link is followed: this is for files that were installed, not for files in
/// a folder that others write to. `path` is bytes as the file system has them.
KORVANE_EXPORT std::optional<Value> readPropertyList(const std::string& path);

/// The value that the bytes of a property list hold, in either form. Texts come out in UTF-8 (half
/// of a surrogate pair in a binary text as U+FFFD), integers above the 64-bit ones as fractions,
/// and a UID as the dictionary of "CF$UID" and its number, which is how the XML form writes it.
/// Costs time and memory in proportion to the bytes, whatever they are.
KORVANE_EXPORT std::optional<Value> propertyListFromBytes(std::string_view bytes);

}  // namespace korvane
