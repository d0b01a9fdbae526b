#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/NSURL.h"

namespace korvane {

/// The scheme that a text begins with (RFC 3986, section 3.1), as it stands; empty without one. A
/// single letter before the ":" is not a scheme.
std::string_view schemeOf(std::string_view text);
/// Whether the text begins with that scheme, in any case; `scheme` is lower case.
bool schemeIs(std::string_view text, std::string_view scheme);

/// The URL of a text as people copy it from an address bar or a page. A text that is a legal URL is
/// taken as it stands; any other is repaired so that it leads to the same place: white space at its
/// ends goes, characters that are not legal are percent-encoded as UTF-8, so are a "%" that begins
/// no escape, a "#" after the first and brackets outside the host; an internationalised host name
/// becomes its ASCII form (UTS 46). Nothing when no repair helps.
std::optional<NSURL> urlFromText(std::string_view text);

/// The path of the file that a file: URL of this machine names, as bytes. Escapes are decoded, a
/// "%" that begins none stands for itself. A URL whose "#", "?" or "%" was never escaped is
/// understood where only that reading leads to something that exists. Nothing for another machine's
/// file, and where the URL holds no absolute path.
std::optional<std::string> pathOfFileURL(std::string_view url);

}  // namespace korvane
