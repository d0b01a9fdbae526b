#include "host/LoneSurrogates.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace korvane {
namespace {

/// The half of a surrogate pair that an escape at this place stands for; 0 for anything else.
unsigned surrogateAt(std::string_view json, std::size_t at) {
  constexpr std::size_t kEscape = 6;
  const std::string_view escape = json.substr(std::min(at, json.size()), kEscape);
  unsigned code = 0;
  if (escape.size() < kEscape || !escape.starts_with("\\u")) return 0;
  const char* const end = escape.data() + kEscape;
  const auto [stop, error] = std::from_chars(escape.data() + 2, end, code, 16);
  return error == std::errc() && stop == end && code >= 0xD800 && code <= 0xDFFF ? code : 0;
}

}  // namespace

std::optional<std::string> withoutLoneSurrogates(std::string_view json) {
  std::optional<std::string> repaired;
  for (std::size_t at = 0; (at = json.find('\\', at)) != std::string_view::npos;) {
    const unsigned first = surrogateAt(json, at);
    if (first == 0) {
      at += 2;
    } else if (first < 0xDC00 && surrogateAt(json, at + 6) >= 0xDC00) {
      at += 12;
    } else {
      if (!repaired) repaired.emplace(json);
      repaired->replace(at + 2, 4, "fffd");
      at += 6;
    }
  }
  return repaired;
}

}  // namespace korvane
