#include "host/DataURL.h"

#include "host/URLText.h"
#include "text/ASCII.h"
#include "text/Base64.h"
#include "text/PercentEscapes.h"

namespace korvane {

std::optional<DataURL> readDataURL(std::string_view text) {
  if (!schemeIs(text, "data")) return std::nullopt;
  text.remove_prefix(std::string_view("data:").size());
  const std::size_t comma = text.find(',');
  if (comma == std::string_view::npos) return std::nullopt;
  const std::string head = lowercase(percentDecodedLeniently(text.substr(0, comma)));

  DataURL url{.type = head.substr(0, head.find(';')),
              .bytes = percentDecodedLeniently(text.substr(comma + 1))};
  if (url.type.empty()) url.type = "text/plain";
  if (head.ends_with(";base64")) {
    url.bytes = decodedBase64<std::string>(*url.bytes, Base64Leniency::whiteSpace);
  }
  return url;
}

std::optional<NSData> pictureOfDataURL(std::string_view text) {
  const auto url = readDataURL(text);
  if (!url || !url->type.starts_with("image/") || !url->bytes || url->bytes->empty()) {
    return std::nullopt;
  }
  return NSData(url->bytes->begin(), url->bytes->end());
}

}  // namespace korvane
