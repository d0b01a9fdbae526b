#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/Export.h"
#include "platform/NSDataDetector.h"

namespace korvane {

/// Finds what a reader of mail expects to be clickable in plain text:
///
/// - "http://", "https://" and "ftp://" with a host, "word://" of any other scheme but scripts,
///   "file:/", "mailto:" with an address, "tel:" with a number;
/// - hosts that begin with "www." and bare domains whose ending is a top-level domain of the public
///   suffix list, which get "http://"; endings that name files far more often ("README.md") count
///   only with "www.", a port or a path;
/// - bare mail addresses, which get "mailto:".
///
/// A link ends before "<", ">", '"', white space, control, zero-width and bidirectional formatting
/// characters and the punctuation of other scripts. Punctuation at its end, and brackets and quotes
/// without a partner inside the link, stay outside.
///
/// A link's URL is its characters where these are a valid URL. Otherwise a host of other scripts
/// is written in Punycode (RFC 3492, UTS #46 nontransitional), and every character that is not
/// legal in a URL is percent-encoded.
class KORVANE_EXPORT LinkDetector : public NSDataDetector {
 public:
  std::vector<NSTextCheckingResult> matchesInString(std::string_view text) override;

  /// The same; adds to `steps` how many characters were looked at, each as often as it was. For
  /// tests: stays below a fixed multiple of the text's length, whatever the text.
  static std::vector<NSTextCheckingResult> matches(std::string_view text, std::uint64_t& steps);
};

}  // namespace korvane
