#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/NSData.h"

namespace korvane {

/// What a data: URL (RFC 2397) holds.
struct DataURL {
  /// The media type in lower case, without parameters: "image/png"; "text/plain" where the URL says
  /// none.
  std::string type;
  /// The bytes; absent where the URL says base64 and they are not.
  std::optional<std::string> bytes;
};

/// Reads a data: URL. A "%" that begins no escape stands for itself; white space in base64 is
/// skipped. Nothing where the text is not such a URL. Any thread may call.
std::optional<DataURL> readDataURL(std::string_view text);

/// The encoded picture that a data: URL holds; nothing for any other text. Any thread may call.
std::optional<NSData> pictureOfDataURL(std::string_view text);

}  // namespace korvane
