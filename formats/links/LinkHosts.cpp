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
  for (std::size_t at = 0; at <= host.size(); ++at) {
    if (at < host.size() && host[at] != '.') continue;
    if (at == begin || at - begin > kMaxHostLabel) return false;
    if (host[begin] == '-' || host[at - 1] == '-') return false;
    begin = at + 1;
  }
  return true;
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

bool TopLevelDomains::contains(std::string_view label) {
  if (label.size() < 2 || isDigit(label[0])) return false;  // as most behind a dot are
  std::uint64_t key = 0;
  if (label.size() > sizeof key) return isTopLevelDomain(label);
  for (const char c : label) {
    if (!isAlphanumeric(c)) return isTopLevelDomain(label);
    key = key << 8 | static_cast<unsigned char>(lowercase(c));
  }
  constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15;  // 2^64 through the golden ratio
  Answer& answer = answers_[(key * kSpread) >> 58];
  if (answer.label != key) answer = {key, isTopLevelDomain(label)};
  return answer.isTopLevelDomain;
}

bool canBeTopLabel(std::string_view topLabel) {
  return topLabel.size() >= 2 && std::any_of(topLabel.begin(), topLabel.end(), isLetter) &&
         !isDigit(topLabel.front());
}

}  // namespace korvane::links
