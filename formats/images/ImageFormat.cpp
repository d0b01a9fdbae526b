#include "formats/images/ImageFormat.h"

#include <algorithm>
#include <array>

#include "formats/Signatures.h"

namespace korvane {
namespace {

using namespace std::string_view_literals;

std::string_view nameOf(DataFormat format) {
  switch (format) {
    case DataFormat::png:
      return "png";
    case DataFormat::jpeg:
      return "jpeg";
    case DataFormat::gif:
      return "gif";
    case DataFormat::webp:
      return "webp";
    case DataFormat::tiff:
      return "tiff";
    case DataFormat::bmp:
      return "bmp";
    case DataFormat::ico:
    case DataFormat::cursor:
      return "ico";
    case DataFormat::animatedCursor:
      return "ani";
    case DataFormat::icns:
      return "icns";
    case DataFormat::heif:
      return "heif";
    case DataFormat::avif:
      return "avif";
    case DataFormat::jpegXL:
      return "jxl";
    case DataFormat::jpeg2000:
      return "jp2";
    case DataFormat::psd:
      return "psd";
    case DataFormat::xpm:
      return "xpm";
    case DataFormat::portableMap:
      return "pnm";
    case DataFormat::svg:
      return "svg";
    default:
      return {};
  }
}

bool isPortableMap(std::string_view data) {
  return data.size() > 3 && data[0] == 'P' && data[1] >= '1' && data[1] <= '6' &&
         " \t\r\n"sv.find(data[2]) != std::string_view::npos;
}

// Targa has no signature at its beginning: newer files have one at their end, of older ones only
// few headers make sense.
bool isTarga(std::string_view data, std::string_view whole) {
  if (whole.ends_with("TRUEVISION-XFILE.\0"sv)) return true;
  if (data.size() < 18) return false;
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(data[at]); };
  static constexpr std::array<unsigned, 6> kKinds{1, 2, 3, 9, 10, 11};
  static constexpr std::array<unsigned, 5> kDepths{8, 15, 16, 24, 32};
  const bool palette = byte(2) == 1 || byte(2) == 9;
  return std::ranges::find(kKinds, byte(2)) != kKinds.end() &&
         std::ranges::find(kDepths, byte(16)) != kDepths.end() && byte(1) <= 1 &&
         (byte(1) == 1 || !palette) && (byte(12) | byte(13)) != 0 && (byte(14) | byte(15)) != 0 &&
         (byte(17) & 0xC0U) == 0;
}

}  // namespace

std::string_view imageFormat(const NSData& encoded) {
  constexpr std::size_t kLookedAt = 1024;
  const std::string_view whole(reinterpret_cast<const char*>(encoded.data()), encoded.size());
  const std::string_view data = whole.substr(0, kLookedAt);
  if (const auto name = nameOf(formatBySignature(data)); !name.empty()) return name;
  // What could be something else too, if it were not given as a picture.
  if (data.starts_with("BM")) return "bmp";
  if (data.starts_with("\x1F\x8B")) return "svg";  // compressed with gzip
  if (isPortableMap(data)) return "pnm";
  if (formatByFirstTag(data) == DataFormat::svg) return "svg";
  if (isTarga(data, whole)) return "tga";
  return {};
}

}  // namespace korvane
