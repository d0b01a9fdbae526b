#include "host/DataURL.h"

#include "host/URLText.h"
#include "text/ASCII.h"
#include "text/Base64.h"
#include "text/PercentEscapes.h"

namespace korvane {
namespace {

std::string decoded(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isPercentEscape(text, i)) {
      bytes += percentEscapeValue(text, i);
      i += 2;
    } else {
      bytes += text[i];
    }
  }
  return bytes;
}

}  // namespace

std::optional<DataURL> readDataURL(std::string_view text) {
  if (!schemeIs(text, "data")) return std::nullopt;
  text.remove_prefix(std::string_view("data:").size());
  const std::size_t comma = text.find(',');
  if (comma == std::string_view::npos) return std::nullopt;
  const std::string head = lowercase(decoded(text.substr(0, comma)));

  DataURL url{.type = head.substr(0, head.find(';')), .bytes = decoded(text.substr(comma + 1))};
  if (url.type.empty()) url.type = "text/plain";
  if (head.ends_with(";base64")) {
    url.bytes = decodedBase64<std::string>(*url.bytes, Base64Leniency::whiteSpace);
  }
  return url;
}

}  // namespace korvane
