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

bool canBeTopLabel(std::string_view topLabel) {
  return topLabel.size() >= 2 && std::any_of(topLabel.begin(), topLabel.end(), isLetter) &&
         !isDigit(topLabel.front());
}

}  // namespace korvane::links
