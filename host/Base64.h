#pragma once

#include <optional>
#include <string_view>

#include "platform/Value.h"

namespace korvane {

/// The bytes of a base64 text (RFC 4648, section 4, with padding). ASCII white space is skipped;
/// nothing for any other character outside the alphabet and for incomplete groups.
std::optional<NSData> decodeBase64(std::string_view text);

}  // namespace korvane
