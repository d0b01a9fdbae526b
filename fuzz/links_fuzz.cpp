// Links of any bytes: in order, apart from one another, each a part of the text as written or its
// documented normalisation, every URL valid and stable, within a fixed number of steps, and none
// that runs anything.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Require.h"
#include "formats/links/LinkDetector.h"
#include "platform/NSURL.h"
#include "text/ASCII.h"
#include "text/LinkSchemes.h"

namespace {

using namespace korvane;

// What a URL and the characters that it stands for have in common when escapes and all that a URL
// cannot hold are left out: nothing is added, moved or put aside.
std::string skeleton(std::string_view text) {
  std::string left;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '%') {
      const bool escape =
          at + 2 < text.size() && isHexDigit(text[at + 1]) && isHexDigit(text[at + 2]);
      if (escape) at += 2;
    } else if (isASCII(c) && (isAlphanumeric(c) || c == '/' || c == '?' || c == '&' || c == '=')) {
      left += lowercase(c);
    }
  }
  return left;
}

bool isPlain(std::string_view text) {
  return text.find_first_not_of(
             "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
             "-._~:/?@!$&'()*+,;=") == std::string_view::npos;
}

void check(std::string_view text, const NSTextCheckingResult& match) {
  const std::size_t end = match.location + match.length;
  const std::string_view written = text.substr(match.location, match.length);
  const std::string& url = match.url.absoluteString();
  REQUIRE(written.find_first_of(std::string_view("<>\" \t\r\n\0", 8)) == std::string_view::npos ||
          (match.location > 0 && end < text.size() && text[end] != ' '));

  const std::optional<NSURL> again = NSURL::URLWithString(url);
  REQUIRE(again && again->absoluteString() == url && again->scheme());
  const LinkScheme* scheme = findLinkScheme(*again->scheme());
  REQUIRE(scheme == nullptr || scheme->form != LinkForm::none);

  // Characters with a scheme that are a URL themselves are the link's URL.
  const std::optional<NSURL> literal = NSURL::URLWithString(written);
  if (literal && literal->scheme() && literal->scheme() == again->scheme()) {
    REQUIRE(literal->absoluteString() == url);
    return;
  }
  if (url == written) return;
  if (isPlain(written)) {
    REQUIRE(url == "http://" + std::string(written) || url == "mailto:" + std::string(written));
    return;
  }
  // Line breaks in angle brackets, other scripts and what is escaped: a host in Punycode aside,
  // nothing but the scheme is new.
  if (url.find("xn--") != std::string::npos) return;
  const bool isOfScheme = written.find(':') != std::string_view::npos;
  std::string expected;
  bool ascii = true;
  for (const char c : written) {
    ascii = ascii && isASCII(c);
    if (c != '\r' && c != '\n' && c != ' ' && c != '\t') expected += c;
    // A "%" of a bare mailbox is no escape.
    if (c == '%' && scheme != nullptr && scheme->form == LinkForm::mail && !isOfScheme) {
      expected += "25";
    }
  }
  if (!ascii) return;  // other scripts may have letters that ASCII stands for
  const std::string left = skeleton(url);
  const std::string want = skeleton(expected);
  REQUIRE(left == want || left == "http//" + want || left == "mailto" + want);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::uint64_t steps = 0;
  const auto found = LinkDetector::matches(text, steps);
  REQUIRE(steps <= 64 * (size + 1));

  std::size_t end = 0;
  for (const NSTextCheckingResult& match : found) {
    REQUIRE(match.location >= end && match.length > 0);
    end = match.location + match.length;
    REQUIRE(end <= size);
    check(text, match);
  }
  // Twice the text has at most twice the steps, and a few.
  if (size > 0 && size < 4096) {
    std::string twice(text);
    twice += '\n';
    twice += text;
    std::uint64_t more = 0;
    LinkDetector::matches(twice, more);
    REQUIRE(more <= 2 * steps + 2 * size + 4096);
  }
  return 0;
}
