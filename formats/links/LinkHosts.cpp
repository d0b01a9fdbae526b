#include "formats/links/LinkHosts.h"

#include <libpsl.h>

#include <algorithm>
#include <array>

#include "formats/links/HostNames.h"
#include "formats/links/LinkCharacters.h"

namespace korvane::links {
namespace {

bool isPlainASCII(std::string_view text) { return std::all_of(text.begin(), text.end(), isASCII); }

bool isValidHost(std::string_view host) {
  if (host.size() > kMaxHost) return false;
  std::size_t begin = 0;
  while (true) {
    const std::size_t end = std::min(host.find('.', begin), host.size());
    if (end == begin || end - begin > kMaxHostLabel) return false;
    if (host[begin] == '-' || host[end - 1] == '-') return false;
    if (end == host.size()) return true;
    begin = end + 1;
  }
}

}  // namespace

std::optional<std::string> asciiHost(std::string_view host) {
  std::optional<std::string> ascii;
  if (isPlainASCII(host)) {
    if (host.size() <= kMaxHost) ascii = std::string(host);
  } else {
    ascii = punycodeHost(host);
  }
  if (!ascii || !isValidHost(*ascii)) return std::nullopt;
  return ascii;
}

bool isTopLevelDomain(std::string_view label) {
  std::optional<std::string> ascii = asciiHost(label);
  if (!ascii || ascii->find('.') != std::string::npos) return false;
  return psl_is_public_suffix2(psl_builtin(), lowercase(*ascii).c_str(),
                               PSL_TYPE_ICANN | PSL_TYPE_NO_STAR_RULE) == 1;
}

bool isFileEnding(std::string_view label) {
  // Left out: endings of countries and services whose addresses people do write without "www."
  // (pl, mk, so, ai, app).
  constexpr std::array<std::string_view, 13> endings = {
      "cab", "cc", "java", "md", "mov", "pm", "properties", "ps", "pub", "py", "rs", "sh", "zip"};
  return std::find(endings.begin(), endings.end(), lowercase(label)) != endings.end();
}

bool isNumberLike(std::string_view host) {
  std::size_t digits = 0;
  for (const char c : host.substr(0, host.rfind('.'))) {
    if (c == '.') {
      digits = 0;
    } else if (!isDigit(c) || ++digits > 2) {
      return false;
    }
  }
  return true;
}

bool isSentenceLike(std::string_view host) {
  const std::size_t size = host.size();
  const auto isLower = [](char c) { return c >= 'a' && c <= 'z'; };
  const auto isUpper = [](char c) { return c >= 'A' && c <= 'Z'; };
  return size >= 4 && host[size - 3] == '.' && isLower(host[size - 4]) && isUpper(host[size - 2]) &&
         isLower(host[size - 1]);
}

bool canBeTopLabel(std::string_view topLabel) {
  return topLabel.size() >= 2 && std::any_of(topLabel.begin(), topLabel.end(), isLetter) &&
         !isDigit(topLabel.front());
}

}  // namespace korvane::links
