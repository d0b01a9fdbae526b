#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/Export.h"

namespace korvane {

/// Bytes without a meaning of their own.
using NSData = std::vector<std::uint8_t>;

/// The bytes that a base64 text (RFC 4648, standard alphabet) stands for. Characters outside the
/// alphabet, line breaks among them, are skipped; what remains must be complete groups of four,
/// padded with "=" at the end, or there is no data. The empty text is not bytes. Any thread may
/// call.
KORVANE_EXPORT std::optional<NSData> dataWithBase64EncodedString(std::string_view text);

}  // namespace korvane
