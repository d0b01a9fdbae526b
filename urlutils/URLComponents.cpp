#include <utility>

#include "platform/NSException.h"
#include "urlutils/RequestUtils.h"

namespace korvane::RequestUtils {

std::optional<NSURL> URLWithComponents(const Dictionary& components) {
  std::string text;
  const auto append = [&](std::string_view before, const char* key, std::string_view after) {
    const Value value = components.objectForKey(key);
    if (value.isAbsent()) return;
    text += before;
    text += raisingFor(key, [&] { return value.text(); });
    text += after;
  };
  append("", URLSchemeComponent, "://");
  if (!components.objectForKey(URLUserComponent).isAbsent()) {
    append("", URLUserComponent, "");
    append(":", URLPasswordComponent, "");
    text += '@';
  }
  append("", URLHostComponent, "");
  if (const Value port = components.objectForKey(URLPortComponent); !port.isAbsent()) {
    text += ':';
    text += port.description();
  }
  append("", URLPathComponent, "");
  append(";", URLParameterStringComponent, "");
  if (const Value query = components.objectForKey(URLQueryComponent); query.isDictionary()) {
    text += '?';
    text +=
        raisingFor(URLQueryComponent, [&] { return URLQueryWithParameters(query.dictionary()); });
  } else {
    append("?", URLQueryComponent, "");
  }
  append("#", URLFragmentComponent, "");
  return NSURL::URLWithString(text);
}

Dictionary components(const NSURL& url) {
  Dictionary result;
  const auto add = [&](const char* key, Value part) {
    if (!part.isAbsent()) result.set(key, std::move(part));
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
    changed.set(component, value);
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
