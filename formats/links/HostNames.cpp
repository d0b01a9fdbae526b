#include "formats/links/HostNames.h"

#include <unicode/uidna.h>

#include <array>
#include <cstdint>

namespace korvane {
namespace {

// A host of other scripts is longer in UTF-8 than in Punycode; no valid one exceeds this.
constexpr std::size_t kMaxRawHost = 1024;

// What no host may hold once its characters are mapped: a space, a control, or a character that
// would end the host in a URL.
bool isForbidden(char c) {
  constexpr std::string_view kForbidden = " \"#%/:<>?@[\\]^`{|}\x7F";
  return static_cast<unsigned char>(c) < 0x20 || kForbidden.find(c) != kForbidden.npos;
}

// As browsers have it, so that a link leads where it leads from an address bar: "ß" and the joiners
// are themselves (non-transitional), joiners stand only where a script needs them, and the order of
// a name's letters on the screen is never in doubt. The rules of STD 3 are left out, since hosts
// with "_" exist; what else they forbid is looked for in the result.
const UIDNA* converter() {
  static const UIDNA* const opened = [] {
    UErrorCode error = U_ZERO_ERROR;
    const UIDNA* made = uidna_openUTS46(
        UIDNA_NONTRANSITIONAL_TO_ASCII | UIDNA_CHECK_CONTEXTJ | UIDNA_CHECK_BIDI, &error);
    return U_SUCCESS(error) ? made : nullptr;
  }();
  return opened;
}

}  // namespace

std::optional<std::string> punycodeHost(std::string_view host) {
  if (converter() == nullptr || host.size() > kMaxRawHost) return std::nullopt;
  std::array<char, kMaxRawHost> buffer{};
  UIDNAInfo info = UIDNA_INFO_INITIALIZER;
  UErrorCode error = U_ZERO_ERROR;
  const std::int32_t length = uidna_nameToASCII_UTF8(
      converter(), host.data(), static_cast<std::int32_t>(host.size()), buffer.data(),
      static_cast<std::int32_t>(buffer.size()), &info, &error);
  if (U_FAILURE(error) || info.errors != 0 || length <= 0) return std::nullopt;
  std::string name(buffer.data(), static_cast<std::size_t>(length));
  for (const char c : name) {
    if (isForbidden(c)) return std::nullopt;
  }
  return name;
}

}  // namespace korvane
