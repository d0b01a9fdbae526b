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
///   "file:/", "mailto:" with an address, and the schemes without "//" that findLinkScheme() knows,
///   such as "tel:", "sip:", "xmpp:", "geo:" and "magnet:", with what belongs to them;
/// - hosts that begin with "www.", addresses such as "192.168.1.1:8080/admin", and bare domains
///   whose ending is a top-level domain of the public suffix list and which are neither a file name
///   nor code or abbreviation: these get "http://";
/// - bare mail addresses, which get "mailto:".
///
/// A link is taken whole or not at all: where only a part of what is written could be one, there is
/// none, since the part would lead elsewhere.
///
/// A link ends before "<", ">", '"', white space, control, zero-width and bidirectional formatting
/// characters, the punctuation of other scripts, and ",http://" that begins another one.
/// Apostrophes, dots and joiners that belong into words of some scripts stay between letters.
/// Punctuation and dashes at its end, and brackets and quotes without a partner inside the link,
/// stay outside. Between "<" and ">" or "‹" and "›", all of it is the link, with line breaks in it
/// left out.
///
/// A link's URL is its characters where these are a valid URL. Otherwise a host of other scripts
/// or with symbols is written in Punycode (RFC 3492, UTS #46 nontransitional), and every character
/// that is not legal in a URL is percent-encoded.
class KORVANE_EXPORT LinkDetector : public NSDataDetector {
 public:
  std::vector<NSTextCheckingResult> matchesInString(std::string_view text) override;

  /// The same; adds to `steps` how many characters were looked at, each as often as it was. For
  /// tests: stays below a fixed multiple of the text's length, whatever the text.
  static std::vector<NSTextCheckingResult> matches(std::string_view text, std::uint64_t& steps);
};

}  // namespace korvane
