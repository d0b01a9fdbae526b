#include "formats/Signatures.h"

#include <algorithm>
#include <array>
#include <string>

#include "text/ASCII.h"
#include "text/UTF8.h"

namespace korvane {
namespace {

using namespace std::string_view_literals;

struct Signature {
  std::string_view bytes;
  DataFormat format;
};

constexpr Signature kSignatures[] = {
    {"\x89PNG\r\n\x1a\n"sv, DataFormat::png},
    {"\xFF\xD8\xFF"sv, DataFormat::jpeg},
    {"GIF87a"sv, DataFormat::gif},
    {"GIF89a"sv, DataFormat::gif},
    {"II*\0"sv, DataFormat::tiff},
    {"MM\0*"sv, DataFormat::tiff},
    {"\0\0\1\0"sv, DataFormat::ico},
    {"icns\0"sv, DataFormat::icns},
    {"8BPS\0\1"sv, DataFormat::psd},
    {"\0\0\0\x0CJXL \r\n\x87\n"sv, DataFormat::jpegXL},
    {"\xFF\x0A"sv, DataFormat::jpegXL},
    {"/* XPM */"sv, DataFormat::xpm},
    {"\0\0\0\x0CjP  \r\n"sv, DataFormat::jpeg2000},
    {"%PDF-"sv, DataFormat::pdf},
    {"PK\x03\x04"sv, DataFormat::zip},
};

// The brands of files that are made of boxes, behind "ftyp".
constexpr Signature kBrands[] = {
    {"heic"sv, DataFormat::heif}, {"heix"sv, DataFormat::heif}, {"heim"sv, DataFormat::heif},
    {"heis"sv, DataFormat::heif}, {"hevc"sv, DataFormat::heif}, {"mif1"sv, DataFormat::heif},
    {"msf1"sv, DataFormat::heif}, {"avif"sv, DataFormat::avif}, {"avis"sv, DataFormat::avif},
};

bool has(std::string_view bytes, std::size_t at, std::string_view part) {
  return bytes.size() >= at && bytes.substr(at).starts_with(part);
}

// "BM" alone could begin a text. Behind it come four bytes that should be 0, and the size of the
// next header, which is below 256.
bool isBitmap(std::string_view bytes) {
  return bytes.starts_with("BM") && (has(bytes, 6, "\0\0\0\0"sv) || has(bytes, 15, "\0\0\0"sv));
}

// "P6", white space and the width or a comment.
bool isPortableMap(std::string_view bytes) {
  return bytes.size() > 3 && bytes[0] == 'P' && bytes[1] >= '1' && bytes[1] <= '6' &&
         (bytes[2] == '\n' || bytes[2] == ' ') && (bytes[3] == '#' || isDigit(bytes[3]));
}

constexpr std::string_view kSpace = " \t\r\n\f";

// The name of the tag that a text begins with, of a document type with the type's name: "html",
// "!doctype html"; lower case, empty where there is none.
std::string firstTag(std::string_view text) {
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  for (;;) {
    text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
    std::string_view end;
    if (text.starts_with("<!--")) {
      end = "-->";
    } else if (text.starts_with("<?")) {
      end = "?>";
    } else {
      break;
    }
    const std::size_t at = text.find(end, 2);
    if (at == std::string_view::npos) return {};
    text.remove_prefix(at + end.size());
  }
  if (!text.starts_with('<')) return {};
  text.remove_prefix(1);
  const auto takeWord = [&] {
    const std::string_view word = text.substr(0, text.find_first_of(" \t\r\n\f/>["));
    text.remove_prefix(word.size());
    return lowercase(word);
  };
  std::string tag = takeWord();
  if (tag != "!doctype") return tag;
  text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
  return "!doctype " + takeWord();
}

// clang-format off
constexpr std::array kHTMLTags = {
    "!doctype html"sv, "a"sv, "abbr"sv, "article"sv, "b"sv, "base"sv, "big"sv, "blockquote"sv,
    "body"sv, "br"sv, "center"sv, "code"sv, "dd"sv, "del"sv, "div"sv, "dl"sv, "em"sv, "font"sv,
    "footer"sv, "h1"sv, "h2"sv, "h3"sv, "h4"sv, "h5"sv, "h6"sv, "head"sv, "header"sv, "hr"sv,
    "html"sv, "i"sv, "img"sv, "li"sv, "link"sv, "main"sv, "meta"sv, "ol"sv, "p"sv, "pre"sv,
    "section"sv, "small"sv, "span"sv, "strong"sv, "style"sv, "table"sv, "title"sv, "u"sv, "ul"sv};
// clang-format on

}  // namespace

DataFormat formatBySignature(std::string_view bytes) {
  for (const auto& [signature, format] : kSignatures) {
    if (bytes.starts_with(signature)) return format;
  }
  if (bytes.starts_with("RIFF")) {
    if (has(bytes, 8, "WEBP")) return DataFormat::webp;
    if (has(bytes, 8, "ACON")) return DataFormat::animatedCursor;
  }
  if (has(bytes, 4, "ftyp")) {
    for (const auto& [brand, format] : kBrands) {
      if (has(bytes, 8, brand)) return format;
    }
  }
  if (isBitmap(bytes)) return DataFormat::bmp;
  if (isPortableMap(bytes)) return DataFormat::portableMap;
  // Behind the signature of a cursor comes how many there are; with none it is a picture of TGA.
  if (bytes.starts_with("\0\0\2\0"sv) && bytes.size() > 5 && (bytes[4] != 0 || bytes[5] != 0)) {
    return DataFormat::cursor;
  }
  return DataFormat::unknown;
}

DataFormat formatByFirstTag(std::string_view text) {
  const std::string tag = firstTag(text);
  if (tag == "svg" || tag.ends_with(":svg") || tag == "!doctype svg") return DataFormat::svg;
  const bool isHTML = std::find(kHTMLTags.begin(), kHTMLTags.end(), tag) != kHTMLTags.end();
  return isHTML ? DataFormat::html : DataFormat::unknown;
}

bool isPicture(DataFormat format) { return format >= DataFormat::png && format <= DataFormat::svg; }

std::string_view mimeType(DataFormat format) {
  switch (format) {
    case DataFormat::unknown:
      break;
    case DataFormat::png:
      return "image/png";
    case DataFormat::jpeg:
      return "image/jpeg";
    case DataFormat::gif:
      return "image/gif";
    case DataFormat::webp:
      return "image/webp";
    case DataFormat::tiff:
      return "image/tiff";
    case DataFormat::bmp:
      return "image/bmp";
    case DataFormat::ico:
    case DataFormat::cursor:
      return "image/vnd.microsoft.icon";
    case DataFormat::animatedCursor:
      return "application/x-navi-animation";
    case DataFormat::icns:
      return "image/x-icns";
    case DataFormat::heif:
      return "image/heif";
    case DataFormat::avif:
      return "image/avif";
    case DataFormat::jpegXL:
      return "image/jxl";
    case DataFormat::jpeg2000:
      return "image/jp2";
    case DataFormat::psd:
      return "image/vnd.adobe.photoshop";
    case DataFormat::xpm:
      return "image/x-xpixmap";
    case DataFormat::portableMap:
      return "image/x-portable-anymap";
    case DataFormat::svg:
      return "image/svg+xml";
    case DataFormat::html:
      return "text/html";
    case DataFormat::pdf:
      return "application/pdf";
    case DataFormat::zip:
      return "application/zip";
  }
  return "application/octet-stream";
}

}  // namespace korvane
