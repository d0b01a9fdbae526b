#include "linux/detail/UnfinishedNames.h"

#include <sys/random.h>

#include <algorithm>
#include <cstdint>

#include "text/ASCII.h"

namespace korvane {
namespace {

constexpr std::string_view kPrefix = ".korvane-";
constexpr std::size_t kDigitCount = 16;

}  // namespace

std::string unfinishedName() {
  std::uint64_t random = 0;
  while (::getrandom(&random, sizeof random, 0) != static_cast<ssize_t>(sizeof random)) {
  }
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string name(kPrefix);
  for (std::size_t i = 0; i < kDigitCount; ++i, random >>= 4) name += kDigits[random & 15];
  return name;
}

bool isUnfinishedName(std::string_view name) {
  return name.starts_with(kPrefix) && name.size() == kPrefix.size() + kDigitCount &&
         std::ranges::all_of(name.substr(kPrefix.size()), isHexDigit);
}

}  // namespace korvane
