#pragma once

#include <string_view>

/// How data of unknown origin is told by its beginning. Pure: any thread may call.
namespace korvane {

enum class DataFormat {
  unknown,
  // Pictures.
  png,
  jpeg,
  gif,
  webp,
  tiff,
  bmp,
  ico,
  cursor,
  animatedCursor,
  icns,
  heif,
  avif,
  jpegXL,
  jpeg2000,
  psd,
  xpm,
  portableMap,
  svg,
  // Others.
  html,
  pdf,
  zip,
};

/// The format whose files begin with such bytes. Unknown for what has no signature, so also for SVG
/// and HTML.
DataFormat formatBySignature(std::string_view bytes);

/// SVG or HTML, told by the first tag or document type behind white space, comments and XML
/// declarations of a text in UTF-8, with a byte order mark or without; unknown for every other
/// text.
DataFormat formatByFirstTag(std::string_view text);

bool isPicture(DataFormat format);

/// The MIME type, "application/octet-stream" for an unknown format.
std::string_view mimeType(DataFormat format);

}  // namespace korvane
