#pragma once

#include <optional>

#include "platform/Export.h"
#include "platform/NSURL.h"
#include "platform/Value.h"

namespace korvane {

/// Reads property lists; a service of the Platform. Any thread may call.
class KORVANE_EXPORT PropertyListReader {
 public:
  virtual ~PropertyListReader() = default;
  /// The list that a file holds in the XML or the binary form. Nothing when the file is missing,
  /// unreadable or malformed, or when its root is not an array; never a part of a list.
  virtual std::optional<List> arrayWithContentsOfURL(const NSURL& url) = 0;
};

/// PropertyListReader::arrayWithContentsOfURL of the installed Platform.
KORVANE_EXPORT std::optional<List> arrayWithContentsOfURL(const NSURL& url);

}  // namespace korvane
