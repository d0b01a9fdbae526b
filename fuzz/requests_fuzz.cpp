// A URL, parameters, and a header value, in three lines: requests made, read and changed.
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/Require.h"
#include "platform/NSException.h"
#include "platform/NSString.h"
#include "urlutils/RequestUtils.h"

using namespace korvane;
using namespace korvane::RequestUtils;

namespace {

std::string takeLine(std::string_view& input) {
  const std::size_t end = input.find('\n');
  const std::string line(input.substr(0, end));
  input.remove_prefix(end == input.npos ? input.size() : end + 1);
  return line;
}

// Parameters that read back as they are; empty where the text has none such.
Dictionary parametersOf(const std::string& text) {
  Dictionary result;
  try {
    for (const auto& [key, value] : URLQueryParameters(text)) {
      if (key.ends_with("[]") || key.starts_with("\uFEFF")) continue;
      if (!value.text().starts_with("\uFEFF")) result.set(key, value);
    }
  } catch (const NSException&) {
    return {};
  }
  return result;
}

void checkBody(const NSURL& url, const Dictionary& parameters) {
  NSMutableURLRequest request = POSTRequestWithURL(url, parameters);
  REQUIRE(request.HTTPMethod() == "POST");
  REQUIRE(request.URL() == url);
  REQUIRE(POSTParameters(request) == parameters);
  REQUIRE(request.valueForHTTPHeaderField("content-length") ==
          std::to_string(request.HTTPBody()->size()));
  addPOSTParameters(request, {{"k", "v"}});
  Dictionary more = parameters;
  more.set("k", "v");
  REQUIRE(POSTParameters(request) == more);
}

void checkQuery(const NSURL& url, const Dictionary& parameters) {
  NSMutableURLRequest request(url);
  setGETParameters(request, parameters);
  // A "?" or "#" that was escaped in the path begins the query, or ends it, once it is not.
  if (!request.URL() || request.URL()->query() != URLQueryWithParameters(parameters)) return;
  REQUIRE(GETParameters(request) == parameters);
  addGETParameters(request, {{"k", "v"}});
}

void checkAuthorization(const NSURL& url, const std::string& user, const std::string& value) {
  NSMutableURLRequest request(url);
  REQUIRE(HTTPBasicAuthUser(request) == url.user().value_or(""));
  setHTTPBasicAuthUser(request, user, "p");
  if (isUTF8(user) && user.find(':') == user.npos) {
    REQUIRE(HTTPBasicAuthUser(request) == user);
    REQUIRE(HTTPBasicAuthPassword(request) == "p");
  }
  request.setValueForHTTPHeaderField(value, "AUTHORIZATION");
  const auto parts = HTTPBasicAuthComponents(request);
  REQUIRE(!parts || !parts->empty());
  REQUIRE(HTTPBasicAuthPassword(request).has_value() == (parts && parts->size() == 2));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  const auto url = URLValue(takeLine(input));
  const std::string text = takeLine(input);
  if (!url) return 0;
  const Dictionary parameters = parametersOf(text);
  checkBody(*url, parameters);
  checkAuthorization(*url, text, std::string(input));
  try {
    checkQuery(*url, parameters);
    GETParameters(GETRequestWithURL(*url, parameters));
  } catch (const NSException&) {
    // The URL's own query does not decode, or a "#" precedes a "?".
  }
  return 0;
}
