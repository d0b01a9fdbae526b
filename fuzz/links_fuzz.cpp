// Links of any bytes: in order, apart from one another, substrings or their normalised form, every
// URL valid and stable, within a fixed number of steps.

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "formats/links/LinkDetector.h"
#include "platform/NSURL.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace korvane;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::uint64_t steps = 0;
  const auto found = LinkDetector::matches(text, steps);
  require(steps <= 64 * (size + 1));

  std::size_t end = 0;
  for (const NSTextCheckingResult& match : found) {
    require(match.location >= end && match.length > 0);
    end = match.location + match.length;
    require(end <= size);
    const std::string_view characters = text.substr(match.location, match.length);
    require(characters.find_first_of(std::string_view("<>\" \t\r\n\0", 8)) ==
            std::string_view::npos);

    const std::string& url = match.url.absoluteString();
    const std::optional<NSURL> again = NSURL::URLWithString(url);
    require(again && again->absoluteString() == url && again->scheme());
    // Characters with a scheme that are a URL themselves are the link's URL.
    const std::optional<NSURL> literal = NSURL::URLWithString(characters);
    if (literal && literal->scheme() && literal->scheme() == again->scheme()) {
      require(literal->absoluteString() == url);
    } else if (url != characters) {
      const bool ascii = characters.find_first_not_of(
                             "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                             "-._~:/?@!$&'()*+,;=") == std::string_view::npos;
      if (ascii) {
        require(url == "http://" + std::string(characters) ||
                url == "mailto:" + std::string(characters));
      }
    }
  }
  return 0;
}
