#include <utility>

#include "urlutils/RequestUtils.h"

namespace korvane::RequestUtils {

std::optional<NSURL> URLWithComponents(const Dictionary& components) {
  std::string text;
  const auto component = [&](const char* key) { return components.objectForKey(key); };
  const auto append = [&](std::string_view before, const Value& value, std::string_view after) {
    if (value.isAbsent()) return;
    text += before;
    text += value.text();
    text += after;
  };
  append("", component(URLSchemeComponent), "://");
  if (const Value user = component(URLUserComponent); !user.isAbsent()) {
    append("", user, "");
    append(":", component(URLPasswordComponent), "");
    text += '@';
  }
  append("", component(URLHostComponent), "");
  if (const Value port = component(URLPortComponent); !port.isAbsent()) {
    text += ':';
    text += port.description();
  }
  append("", component(URLPathComponent), "");
  append(";", component(URLParameterStringComponent), "");
  const Value query = component(URLQueryComponent);
  append("?", query.isDictionary() ? Value(URLQueryWithParameters(query.dictionary())) : query, "");
  append("#", component(URLFragmentComponent), "");
  return NSURL::URLWithString(text);
}

Dictionary components(const NSURL& url) {
  Dictionary result;
  const auto add = [&](const char* key, auto part) {
    if (part) result.set(key, Value(*part));
  };
  add(URLSchemeComponent, url.scheme());
  add(URLHostComponent, url.host());
  add(URLPortComponent, url.port());
  add(URLUserComponent, url.user());
  add(URLPasswordComponent, url.password());
  add(URLPathComponent, url.path());
  add(URLParameterStringComponent, url.parameterString());
  add(URLQueryComponent, url.query());
  add(URLFragmentComponent, url.fragment());
  return result;
}

std::optional<NSURL> URLWithValue(const NSURL& url, const Value& value,
                                  std::string_view component) {
  Dictionary changed = components(url);
  if (value.isAbsent()) {
    changed.remove(component);
  } else {
    changed.set(Value(component), value);
  }
  return URLWithComponents(changed);
}

std::optional<NSURL> URLWithScheme(const NSURL& url, std::string_view scheme) {
  std::string text = url.absoluteString();
  text.replace(0, url.scheme().value_or(std::string()).size(), scheme);
  return NSURL::URLWithString(text);
}

std::optional<NSURL> URLWithHost(const NSURL& url, const Value& host) {
  return URLWithValue(url, host, URLHostComponent);
}
std::optional<NSURL> URLWithPort(const NSURL& url, const Value& port) {
  return URLWithValue(url, port, URLPortComponent);
}
std::optional<NSURL> URLWithUser(const NSURL& url, const Value& user) {
  return URLWithValue(url, user, URLUserComponent);
}
std::optional<NSURL> URLWithPassword(const NSURL& url, const Value& password) {
  return URLWithValue(url, password, URLPasswordComponent);
}
std::optional<NSURL> URLWithPath(const NSURL& url, const Value& path) {
  return URLWithValue(url, path, URLPathComponent);
}
std::optional<NSURL> URLWithParameterString(const NSURL& url, const Value& parameterString) {
  return URLWithValue(url, parameterString, URLParameterStringComponent);
}
std::optional<NSURL> URLWithQuery(const NSURL& url, const Value& query) {
  return URLWithValue(url, query, URLQueryComponent);
}
std::optional<NSURL> URLWithFragment(const NSURL& url, const Value& fragment) {
  return URLWithValue(url, fragment, URLFragmentComponent);
}

}  // namespace korvane::RequestUtils
