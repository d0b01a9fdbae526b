#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "platform/Export.h"
#include "platform/NSURL.h"

namespace korvane {

/// A link found in a text.
struct KORVANE_EXPORT NSTextCheckingResult {
  /// Where the link's characters stand, in bytes of the text.
  std::size_t location = 0;
  std::size_t length = 0;
  /// The link, normalised: "www.a.example" has "http://www.a.example" here.
  NSURL url;
};

/// Finds links in plain text; a service of the Platform. Any thread may call.
class KORVANE_EXPORT NSDataDetector {
 public:
  virtual ~NSDataDetector() = default;
  /// The installed Platform's.
  static std::shared_ptr<NSDataDetector> installed();
  /// The links of a UTF-8 text, in order, never overlapping. Linear in the text's length.
  virtual std::vector<NSTextCheckingResult> matchesInString(std::string_view text) = 0;
};

}  // namespace korvane
