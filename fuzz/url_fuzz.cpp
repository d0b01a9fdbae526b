// A text and a base, in two lines, as URLs.
#include <algorithm>
#include <cstdint>
#include <string_view>

#include "fuzz/Require.h"
#include "platform/NSURL.h"
#include "tests/support/SlowURL.h"
#include "urlutils/RequestUtils.h"

namespace {

using korvane::NSURL;
using korvane::testing::partsOf;
using korvane::testing::slowParts;
using korvane::testing::slowResolved;
namespace RequestUtils = korvane::RequestUtils;

bool holds(std::string_view text, std::string_view characters) {
  return text.find_first_of(characters) != text.npos;
}

// Whether the components say all there is to say about a URL: it has a scheme and more, nothing was
// decoded, cut off or left out. An empty host is there only by what stands beside it.
bool isAllInComponents(const NSURL& url) {
  const std::string& text = url.absoluteString();
  const auto scheme = url.scheme();
  const auto path = url.path();
  if (!scheme || !path) return false;
  const std::string_view rest =
      std::string_view(text).substr(0, std::min(text.find_first_of("?#"), text.size()));
  return !holds(rest, "%[]") && (!path->ends_with('/') || *path == "/") &&
         rest.find("//", scheme->size() + 3) == rest.npos && url.host() != "" &&
         !holds(url.host().value_or(""), ":");
}

void checkParsed(const NSURL& url) {
  const auto again = NSURL::URLWithString(url.absoluteString());
  REQUIRE(again == url);
  REQUIRE(partsOf(*again) == partsOf(url));

  const korvane::Dictionary components = RequestUtils::components(url);
  const auto joined = RequestUtils::URLWithComponents(components);
  if (isAllInComponents(url)) {
    REQUIRE(joined);
    REQUIRE(RequestUtils::components(*joined) == components);
  }
  if (url.scheme()) {
    const auto renamed = RequestUtils::URLWithScheme(url, "other");
    REQUIRE(renamed && renamed->scheme() == "other");
    REQUIRE(renamed->path() == url.path() && renamed->query() == url.query());
  }
}

void checkAppended(const NSURL& url, std::string_view component) {
  const NSURL longer = url.URLByAppendingPathComponent(component);
  REQUIRE(longer.query() == url.query());
  REQUIRE(longer.fragment() == url.fragment());
  REQUIRE(longer.parameterString() == url.parameterString());
  REQUIRE(longer.host() == url.host());
  REQUIRE(longer.scheme() == url.scheme());
  const bool plain = !component.empty() && !holds(component, "/");
  if (plain && url.path() && !url.parameterString()) {
    REQUIRE(longer.fileSystemRepresentation().ends_with(component));
  }
  const NSURL extended = url.URLByAppendingPathExtension(component);
  REQUIRE(extended.query() == url.query());
  REQUIRE(extended.scheme() == url.scheme());
}

void checkResolved(const NSURL& url, std::string_view text, const NSURL& base) {
  const auto resolved = NSURL::URLWithString(text, base);
  REQUIRE(resolved);
  REQUIRE(korvane::Value(resolved->absoluteString()) == slowResolved(text, base.absoluteString()));
  REQUIRE(NSURL::URLWithString(resolved->absoluteString()) == resolved);
  if (url.scheme().value_or("") != "") {
    REQUIRE(resolved == url);
  } else {
    REQUIRE(resolved->scheme() == base.scheme());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t line = input.find('\n');
  const std::string_view text = input.substr(0, line);
  const std::string_view second = line == input.npos ? std::string_view() : input.substr(line + 1);

  const auto url = NSURL::URLWithString(text);
  REQUIRE((url ? partsOf(*url) : korvane::Value()) == slowParts(text));
  const auto base = NSURL::URLWithString(second);
  if (url) {
    checkParsed(*url);
    checkAppended(*url, second);
    if (base) checkResolved(*url, text, *base);
  }
  if (!text.ends_with('/')) {
    const std::string path = "/" + std::string(text);
    REQUIRE(NSURL::fileURLWithPath(path).fileSystemRepresentation() == path);
  }
  return 0;
}
