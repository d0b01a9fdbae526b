#include "linux/detail/UnfinishedNames.h"

#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>

#include "text/ASCII.h"

namespace korvane {
namespace {

constexpr std::string_view kPrefix = ".korvane-";
constexpr std::size_t kDigitCount = 16;

}  // namespace

std::string unfinishedName() {
  std::uint64_t random = 0;
  if (::getrandom(&random, sizeof random, 0) != static_cast<ssize_t>(sizeof random)) {
    // A sandbox may refuse it. A name that is taken is told, so that one that is likely free will
    // do.
    static std::atomic<std::uint64_t> number = 0;
    const auto now = std::chrono::system_clock::now().time_since_epoch().count();
    random = (static_cast<std::uint64_t>(now) + static_cast<std::uint64_t>(::getpid()) +
              (++number << 40)) *
             0x9E3779B97F4A7C15U;
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
