#include "formats/images/ImageFormat.h"

#include <algorithm>
#include <array>

namespace korvane {
namespace {

using namespace std::string_view_literals;

struct Signature {
  std::size_t at;
  std::string_view bytes;
  std::string_view format;
};

constexpr std::array kSignatures{
    Signature{0, "\x89PNG\r\n\x1A\n"sv, "png"},
    Signature{0, "\xFF\xD8\xFF"sv, "jpeg"},
    Signature{0, "GIF87a"sv, "gif"},
    Signature{0, "GIF89a"sv, "gif"},
    Signature{0, "II*\0"sv, "tiff"},
    Signature{0, "MM\0*"sv, "tiff"},
    Signature{0, "BM"sv, "bmp"},
    Signature{0, "\0\0\1\0"sv, "ico"},
    Signature{0, "\0\0\2\0"sv, "ico"},
    Signature{8, "WEBP"sv, "webp"},
    Signature{8, "ACON"sv, "ani"},
    Signature{0, "icns"sv, "icns"},
    Signature{0, "8BPS\0\1"sv, "psd"},
    Signature{0, "/* XPM */"sv, "xpm"},
    Signature{0, "\x1F\x8B"sv, "svg"},  // compressed with gzip
    Signature{0, "\0\0\0\x0CJXL \r\n\x87\n"sv, "jxl"},
    Signature{0, "\xFF\x0A"sv, "jxl"},
    Signature{0, "\0\0\0\x0CjP  \r\n"sv, "jp2"},
    Signature{4, "ftypavif"sv, "avif"},
    Signature{4, "ftypavis"sv, "avif"},
    Signature{4, "ftyphei"sv, "heif"},
    Signature{4, "ftyphev"sv, "heif"},
    Signature{4, "ftypmif1"sv, "heif"},
    Signature{4, "ftypmsf1"sv, "heif"},
};

bool isPortableMap(std::string_view data) {
  return data.size() > 3 && data[0] == 'P' && data[1] >= '1' && data[1] <= '6' &&
         " \t\r\n"sv.find(data[2]) != std::string_view::npos;
}

// Whether a text begins with the element "svg", after white space, the XML declaration, comments
// and a document type. Only what those begin with is looked for in an internal subset.
bool isDrawing(std::string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  for (;;) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"sv), text.size()));
    std::string_view end;
    if (text.starts_with("<!--")) {
      end = "-->"sv;
    } else if (text.starts_with("<?")) {
      end = "?>"sv;
    } else if (text.starts_with("<!DOCTYPE")) {
      return text.substr(9, text.find_first_of("[>", 9) - 9).find("svg") != std::string_view::npos;
    } else {
      break;
    }
    const std::size_t at = text.find(end);
    if (at == std::string_view::npos) return false;
    text.remove_prefix(at + end.size());
  }
  if (!text.starts_with('<')) return false;
  const std::string_view name = text.substr(1, text.find_first_of(" \t\r\n/>"sv) - 1);
  return name == "svg" || name.ends_with(":svg");
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
  for (const Signature& signature : kSignatures) {
    if (data.size() < signature.at || !data.substr(signature.at).starts_with(signature.bytes)) {
      continue;
    }
    const bool inRIFF = signature.format == "webp" || signature.format == "ani";
    if (inRIFF && !data.starts_with("RIFF")) continue;
    // A Targa can begin with the same four bytes, but not with a number of icons after them.
    if (signature.format == "ico" && data.substr(4).starts_with("\0\0"sv)) continue;
    return signature.format;
  }
  if (isPortableMap(data)) return "pnm";
  if (isDrawing(data)) return "svg";
  if (isTarga(data, whole)) return "tga";
  return {};
}

}  // namespace korvane
