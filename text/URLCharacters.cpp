#include "text/URLCharacters.h"

#include <algorithm>

#include "text/PercentEscapes.h"

namespace korvane::urlcharacters {

std::string escapeMisplaced(std::string_view text) {
  const std::size_t begin = findHierarchy(text);
  const bool opaque = begin != 0 && !text.substr(begin).starts_with('/');
  std::size_t hostBegin = 0;
  std::size_t authorityEnd = 0;
  if (text.substr(begin).starts_with("//")) {
    hostBegin = begin + 2;
    authorityEnd = std::min(text.find_first_of("/?#", hostBegin), text.size());
    const std::size_t at = text.substr(0, authorityEnd).find('@', hostBegin);
    if (at != std::string_view::npos) hostBegin = at + 1;
  }
  const auto belongs = [&](std::size_t at) {
    if (at < hostBegin || at >= authorityEnd) return false;
    if (text[at] == '[') return at == hostBegin;
    return at + 1 == authorityEnd || text[at + 1] == ':';
  };
  std::string result;
  result.reserve(text.size() + 16);
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '#' && opaque) {
      result += "%23";
    } else if ((c == '[' || c == ']') && !belongs(at)) {
      result += c == '[' ? "%5B" : "%5D";
    } else {
      result += c;
    }
  }
  return result;
}

std::string encodedPath(std::string_view path, std::string_view escaped) {
  constexpr std::uint8_t kEscaped = kIllegal | kPercent | kBracket | kHash | kQuestion;
  std::string result;
  result.reserve(path.size() + 16);
  for (const char c : path) {
    if ((classOf(c) & kEscaped) != 0 || escaped.find(c) != std::string_view::npos) {
      appendPercentEscape(result, c);
    } else {
      result += c;
    }
  }
  return result;
}

}  // namespace korvane::urlcharacters
