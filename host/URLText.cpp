#include "host/URLText.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "formats/links/HostNames.h"
#include "platform/NSString.h"
#include "text/ASCII.h"
#include "text/PercentEscapes.h"

namespace korvane {
namespace {

// Escapes what is not legal in a URL; with `brackets`, those too.
std::string escapeIllegal(std::string_view text, bool brackets) {
  static constexpr std::string_view kLegal = "-._~:/?#[]@!$&'()*+,;=%";
  std::string out;
  out.reserve(text.size() + text.size() / 4);
  bool inFragment = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool legal = isAlphanumeric(c) || kLegal.find(c) != std::string_view::npos;
    const bool stray = (c == '%' && !isPercentEscape(text, i)) || (c == '#' && inFragment) ||
                       (brackets && (c == '[' || c == ']'));
    inFragment = inFragment || c == '#';
    if (legal && !stray) {
      out += c;
    } else {
      appendPercentEscape(out, c);
    }
  }
  return out;
}

// Where the host of "scheme://user@host:port/…" stands; an empty span without an authority.
struct Span {
  std::size_t begin = 0;
  std::size_t end = 0;
};
Span hostSpan(std::string_view text) {
  const std::string_view scheme = schemeOf(text);
  if (scheme.empty() || text.substr(scheme.size() + 1, 2) != "//") return {};
  std::size_t begin = scheme.size() + 3;
  std::size_t end = std::min(text.find_first_of("/?#", begin), text.size());
  const std::size_t at = text.substr(0, end).rfind('@');
  if (at != std::string_view::npos && at >= begin) begin = at + 1;
  if (begin < end && text[begin] != '[') {
    const std::size_t colon = text.substr(0, end).rfind(':');
    if (colon != std::string_view::npos && colon >= begin) end = colon;
  }
  return {begin, end};
}

bool exists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

bool isThisMachine(std::string_view host) {
  if (host.empty() || equalIgnoringCase(host, "localhost") || host == "127.0.0.1") return true;
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 && equalIgnoringCase(host, name.data());
}

}  // namespace

std::string_view schemeOf(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos || colon < 2 || !isLetter(text[0])) return {};
  const std::string_view scheme = text.substr(0, colon);
  const bool legal = std::all_of(scheme.begin(), scheme.end(), [](char c) {
    return isAlphanumeric(c) || c == '+' || c == '-' || c == '.';
  });
  return legal ? scheme : std::string_view();
}

bool schemeIs(std::string_view text, std::string_view scheme) {
  return equalIgnoringCase(schemeOf(text), scheme);
}

std::optional<NSURL> urlFromText(std::string_view text) {
  std::string repaired = stringByTrimmingWhitespaceAndNewlines(text);
  if (repaired.empty()) return std::nullopt;
  if (auto url = NSURL::URLWithString(repaired)) return url;
  const Span host = hostSpan(repaired);
  const std::string name = repaired.substr(host.begin, host.end - host.begin);
  if (!std::all_of(name.begin(), name.end(), isASCII)) {
    if (const auto ascii = punycodeHost(name)) repaired.replace(host.begin, name.size(), *ascii);
  }
  for (const bool brackets : {false, true}) {
    if (auto url = NSURL::URLWithString(escapeIllegal(repaired, brackets))) return url;
  }
  return std::nullopt;
}

std::optional<std::string> pathOfFileURL(std::string_view url) {
  std::string_view rest = url.substr(schemeOf(url).size() + 1);
  if (rest.starts_with("//")) {
    rest.remove_prefix(2);
    const std::size_t slash = std::min(rest.find('/'), rest.size());
    if (!isThisMachine(rest.substr(0, slash))) return std::nullopt;
    rest.remove_prefix(slash);
  }
  if (!rest.starts_with('/')) return std::nullopt;
  const std::string path = percentDecodedLeniently(rest.substr(0, rest.find_first_of("?#")));
  if (path.find('\0') != std::string::npos) return std::nullopt;  // would name another file
  if (!exists(path)) {
    for (const std::string& unescaped : {percentDecodedLeniently(rest.substr(0, rest.find('#'))),
                                         percentDecodedLeniently(rest), std::string(rest)}) {
      if (exists(unescaped) && unescaped.find('\0') == std::string::npos) return unescaped;
    }
  }
  return path;
}

}  // namespace korvane
