#pragma once

#include <string_view>

#include "platform/Value.h"

namespace korvane {

/// The format of image data, told from its first bytes: "png", "jpeg", "gif", "tiff", "bmp", "ico",
/// "webp", "svg", "pnm", "xpm", "ani", "icns", "avif", "heif", "jxl", "jp2", "psd" or "tga".
/// Empty for anything else. Looks at the first KiB and the last 18 bytes; any thread may call.
///
/// Loaders are chosen by it, and not by a database of types that a small desktop does not have.
std::string_view imageFormat(const NSData& encoded);

}  // namespace korvane
