#include <cstdint>
#include <utility>

#include "platform/NSString.h"
#include "urlutils/RequestUtils.h"

namespace korvane::RequestUtils {
namespace {

std::string upperCase(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c & ~0x20);
  }
  return result;
}

// The body as text; absent without one and when it is not UTF-8.
std::optional<std::string> bodyText(const NSURLRequest& request) {
  const std::optional<NSData>& body = request.HTTPBody();
  if (!body) return std::nullopt;
  std::string text(body->begin(), body->end());
  if (!isUTF8(text)) return std::nullopt;
  return text;
}

void setQuery(NSMutableURLRequest& request, const std::string& query) {
  if (request.URL()) request.setURL(URLWithQuery(*request.URL(), query));
}

void setFormBody(NSMutableURLRequest& request, const std::string& text) {
  request.addValueForHTTPHeaderField("8bit", "Content-Transfer-Encoding");
  request.addValueForHTTPHeaderField("application/x-www-form-urlencoded", "Content-Type");
  request.addValueForHTTPHeaderField(std::to_string(static_cast<std::int32_t>(text.size())),
                                     "Content-Length");
  request.setHTTPBody(NSData(text.begin(), text.end()));
}

void removeAll(std::string& text, std::string_view word) {
  std::string result;
  std::size_t at = 0;
  for (std::size_t next; (next = text.find(word, at)) != std::string::npos;) {
    result.append(text, at, next - at);
    at = next + word.size();
  }
  result.append(text, at);
  text = std::move(result);
}

std::vector<std::string> splitAtColons(std::string_view text) {
  std::vector<std::string> parts;
  for (;;) {
    const std::size_t colon = text.find(':');
    parts.emplace_back(text.substr(0, colon));
    if (colon == std::string_view::npos) return parts;
    text.remove_prefix(colon + 1);
  }
}

}  // namespace

NSMutableURLRequest HTTPRequestWithURL(const NSURL& url, std::string_view method,
                                       const Dictionary& parameters) {
  NSMutableURLRequest request(url);
  request.setHTTPMethod(upperCase(method));
  if (request.HTTPMethod() == "GET") {
    addGETParameters(request, parameters);
  } else {
    setPOSTParameters(request, parameters);
  }
  request.addValueForHTTPHeaderField("gzip", "Accept-Encoding");
  return request;
}

NSMutableURLRequest GETRequestWithURL(const NSURL& url, const Dictionary& parameters) {
  return HTTPRequestWithURL(url, "GET", parameters);
}

NSMutableURLRequest POSTRequestWithURL(const NSURL& url, const Dictionary& parameters) {
  return HTTPRequestWithURL(url, "POST", parameters);
}

Dictionary GETParameters(const NSURLRequest& request) {
  if (!request.URL()) return {};
  return URLQueryParameters(request.URL()->query().value_or(std::string()));
}

Dictionary POSTParameters(const NSURLRequest& request) {
  return URLQueryParameters(bodyText(request).value_or(std::string()));
}

void setGETParameters(NSMutableURLRequest& request, const Dictionary& parameters,
                      URLQueryFlags options) {
  setQuery(request, URLQueryWithParameters(parameters, options));
}

void addGETParameters(NSMutableURLRequest& request, const Dictionary& parameters,
                      URLQueryFlags options) {
  const std::string incoming = URLQueryWithParameters(parameters, options);
  if (!request.URL()) return;
  const std::string existing = URLQuery(request.URL()->absoluteString()).value_or(std::string());
  setQuery(request, stringByMergingURLQuery(existing, incoming, options));
}

void setPOSTParameters(NSMutableURLRequest& request, const Dictionary& parameters,
                       URLQueryFlags options) {
  setFormBody(request, URLQueryWithParameters(parameters, options));
}

void addPOSTParameters(NSMutableURLRequest& request, const Dictionary& parameters,
                       URLQueryFlags options) {
  const std::string incoming = URLQueryWithParameters(parameters, options);
  const std::string existing = bodyText(request).value_or(std::string());
  setFormBody(request, stringByMergingURLQuery(existing, incoming, options));
}

std::optional<std::vector<std::string>> HTTPBasicAuthComponents(const NSURLRequest& request) {
  std::optional<std::string> value = request.valueForHTTPHeaderField("Authorization");
  if (!value) {
    std::vector<std::string> parts(2);
    if (request.URL()) {
      parts[0] = request.URL()->user().value_or(std::string());
      parts[1] = request.URL()->password().value_or(std::string());
    }
    return parts;
  }
  removeAll(*value, "Basic ");
  const std::optional<std::string> pair = base64DecodedString(*value);
  if (!pair) return std::nullopt;
  return splitAtColons(*pair);
}

std::optional<std::string> HTTPBasicAuthUser(const NSURLRequest& request) {
  const auto parts = HTTPBasicAuthComponents(request);
  if (!parts) return std::nullopt;
  return parts->front();
}

std::optional<std::string> HTTPBasicAuthPassword(const NSURLRequest& request) {
  const auto parts = HTTPBasicAuthComponents(request);
  if (!parts || parts->size() != 2) return std::nullopt;
  return parts->back();
}

void setHTTPBasicAuthUser(NSMutableURLRequest& request, std::optional<std::string_view> user,
                          std::optional<std::string_view> password) {
  std::string pair(user.value_or(std::string_view()));
  pair += ':';
  pair += password.value_or(std::string_view());
  request.addValueForHTTPHeaderField("Basic " + base64EncodedString(pair).value(), "Authorization");
}

}  // namespace korvane::RequestUtils
