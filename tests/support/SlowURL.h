#pragma once

// A slow, obvious reader of URLs, which the fast one must agree with, and both in one form.

#include <algorithm>
#include <cctype>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/NSString.h"
#include "platform/NSURL.h"
#include "platform/Value.h"

namespace korvane::testing {

template <class T>
Value toValue(const std::optional<T>& part) {
  return part ? Value(*part) : Value();
}

// The parts of a URL under the names that the tables use.
inline Value partsOf(const NSURL& url) {
  Dictionary parts;
  const auto add = [&](const char* name, Value part) {
    if (!part.isAbsent()) parts.set(name, std::move(part));
  };
  add("absoluteString", Value(url.absoluteString()));
  add("scheme", toValue(url.scheme()));
  add("host", toValue(url.host()));
  add("port", toValue(url.port()));
  add("user", toValue(url.user()));
  add("password", toValue(url.password()));
  add("path", toValue(url.path()));
  add("parameterString", toValue(url.parameterString()));
  add("query", toValue(url.query()));
  add("fragment", toValue(url.fragment()));
  return Value(std::move(parts));
}

// The parts of a text, found by searching it over and over; absent where it is not a URL.
inline Value slowParts(std::string_view given) {
  std::string text(given);
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c <= 0x20 || c >= 0x7F || std::string_view("\"<>\\^`{|}").find(text[i]) != text.npos) {
      return {};
    }
    if (c == '%' &&
        (i + 2 >= text.size() || !std::isxdigit(static_cast<unsigned char>(text[i + 1])) ||
         !std::isxdigit(static_cast<unsigned char>(text[i + 2])))) {
      return {};
    }
  }
  const auto escape = [](std::string part, std::string_view characters) {
    std::string result;
    for (const char c : part) {
      if (characters.find(c) == characters.npos) {
        result += c;
      } else {
        result += c == '[' ? "%5B" : c == ']' ? "%5D" : "%23";
      }
    }
    return result;
  };
  const auto cut = [](std::string& from, char mark) {
    std::optional<std::string> tail;
    if (const auto at = from.find(mark); at != from.npos) {
      tail = from.substr(at + 1);
      from.resize(at);
    }
    return tail;
  };
  Dictionary parts;
  std::string absolute, rest = text;
  if (const auto colon = text.find(':'); colon != text.npos) {
    const std::string scheme = text.substr(0, colon);
    bool valid = scheme.empty() || std::isalpha(static_cast<unsigned char>(scheme[0])) != 0;
    for (const char c : scheme) {
      valid = valid &&
              (std::isalnum(static_cast<unsigned char>(c)) || c == '+' || c == '-' || c == '.');
    }
    if (valid) {
      parts.set("scheme", Value(scheme));
      absolute = scheme + ":";
      rest = text.substr(colon + 1);
      if (!rest.starts_with('/')) {
        if (std::count(rest.begin(), rest.end(), '#') > 1) return {};
        parts.set("absoluteString", Value(absolute + escape(rest, "[]#")));
        return Value(parts);
      }
    }
  }
  std::optional<std::string> fragment = cut(rest, '#');
  std::optional<std::string> query = cut(rest, '?');
  if (fragment && fragment->find('#') != text.npos) return {};
  bool hasHost = false;
  if (rest.starts_with("//")) {
    std::string path;
    rest = rest.substr(2);
    if (const auto slash = rest.find('/'); slash != rest.npos) {
      path = rest.substr(slash);
      rest.resize(slash);
    }
    hasHost = !rest.empty();
    std::string host = rest, user;
    absolute += "//";
    if (const auto at = rest.find('@'); at != rest.npos) {
      host = rest.substr(at + 1);
      user = escape(rest.substr(0, at), "[]");
      absolute += user + "@";
    }
    // Brackets stay at the beginning of the host, and at its end.
    std::string kept;
    for (std::size_t i = 0; i < host.size(); ++i) {
      const bool stays = host[i] == '['   ? i == 0
                         : host[i] == ']' ? i + 1 == host.size() || host[i + 1] == ':'
                                          : true;
      kept += stays ? std::string(1, host[i]) : escape(std::string(1, host[i]), "[]");
    }
    host = kept;
    absolute += host;
    if (hasHost) {
      std::optional<std::string> port;
      const auto end = host.find(']');
      if (host.starts_with('[') && end != host.npos) {
        std::string after = host.substr(end + 1);
        port = cut(after, ':');
        host = host.substr(1, end - 1);
      } else {
        port = cut(host, ':');
      }
      if (const auto name = stringByReplacingPercentEscapes(host)) parts.set("host", Value(*name));
      if (port && !port->empty() && port->find_first_not_of("0123456789") == port->npos) {
        parts.set("port", Value(integerValue(*port)));
      }
      if (rest.find('@') != rest.npos) {
        if (const auto password = cut(user, ':')) parts.set("password", Value(*password));
        if (const auto name = stringByReplacingPercentEscapes(user)) {
          parts.set("user", Value(*name));
        }
      }
    }
    rest = path;
  }
  const bool hasPath = hasHost || !rest.empty();
  rest = escape(rest, "[]");
  absolute += rest;
  if (query) {
    parts.set("query", Value(escape(*query, "[]")));
    absolute += "?" + escape(*query, "[]");
  }
  if (fragment) {
    parts.set("fragment", Value(escape(*fragment, "[]")));
    absolute += "#" + escape(*fragment, "[]");
  }
  if (const auto parameters = cut(rest, ';')) parts.set("parameterString", Value(*parameters));
  if (rest != "/" && rest.ends_with('/')) rest.pop_back();
  const bool escaped = rest.find('%') != rest.npos;
  if (auto path = stringByReplacingPercentEscapes(rest); path && hasPath) {
    if (escaped && *path != "/" && path->ends_with('/')) path->pop_back();
    parts.set("path", Value(*path));
  }
  parts.set("absoluteString", Value(absolute));
  return Value(parts);
}

// A path without its segments "." and without those that a ".." takes away, one after the other.
inline std::string slowPath(std::string path) {
  const bool isRooted = path.starts_with('/');
  if (isRooted) path.erase(0, 1);
  std::vector<std::string> segments(1);
  for (const char c : path) {
    if (c == '/') {
      segments.emplace_back();
    } else {
      segments.back() += c;
    }
  }
  // What is taken from the end leaves its "/".
  const auto take = [&](std::size_t from, std::size_t to) {
    if (to == segments.size()) segments.emplace_back();
    segments.erase(segments.begin() + static_cast<std::ptrdiff_t>(from),
                   segments.begin() + static_cast<std::ptrdiff_t>(to));
  };
  for (std::size_t i = 0; i < segments.size(); ++i) {
    while (i < segments.size() && segments[i] == ".") take(i, i + 1);
  }
  for (std::size_t i = 1; i < segments.size(); ++i) {
    if (segments[i] == ".." && segments[i - 1] != "..") {
      take(i - 1, i + 1);
      i = 0;
    }
  }
  std::string result = isRooted ? "/" : "";
  for (std::size_t i = 0; i < segments.size(); ++i) {
    if (i > 0) result += '/';
    result += segments[i];
  }
  return result;
}

// A text resolved against a base, each cut into its five parts first; absent where the text is not
// a URL.
inline Value slowResolved(std::string_view given, const std::string& base) {
  const Value parts = slowParts(given);
  if (parts.isAbsent()) return {};
  struct Pieces {
    std::optional<std::string> scheme, query, fragment;
    std::string authority, path;
    bool isOpaque = false;
  };
  const auto cut = [](std::string text) {
    Pieces pieces;
    const std::string scheme = text.substr(0, std::min(text.find_first_of(":/?#"), text.size()));
    const bool isScheme =
        text.substr(scheme.size()).starts_with(':') &&
        (scheme.empty() || (std::isalpha(static_cast<unsigned char>(scheme[0])) != 0 &&
                            std::all_of(scheme.begin(), scheme.end(), [](char c) {
                              return std::isalnum(static_cast<unsigned char>(c)) ||
                                     std::string_view("+-.").find(c) != std::string_view::npos;
                            })));
    if (isScheme) {
      pieces.scheme = scheme;
      text.erase(0, scheme.size() + 1);
      pieces.isOpaque = !text.starts_with('/');
      if (pieces.isOpaque) return pieces;
    }
    if (const auto at = text.find('#'); at != text.npos) {
      pieces.fragment = text.substr(at);
      text.resize(at);
    }
    if (const auto at = text.find('?'); at != text.npos) {
      pieces.query = text.substr(at);
      text.resize(at);
    }
    if (text.starts_with("//")) {
      pieces.authority = text.substr(2, std::min(text.find('/', 2), text.size()) - 2);
      text.erase(0, 2 + pieces.authority.size());
    }
    pieces.path = text;
    return pieces;
  };
  const std::string text(parts.objectForKey("absoluteString").text());
  const Pieces from = cut(base);
  Pieces to = cut(text);
  if (to.scheme && !to.scheme->empty()) return Value(text);
  if (text.empty() || to.isOpaque) return Value(base);
  if (to.authority.empty()) {
    to.authority = from.authority;
    if (to.path.empty()) {
      to.path = from.path;
      if (!to.query) to.query = from.query;
    } else if (to.path[0] != '/') {
      to.path = from.path.empty()
                    ? "/" + to.path
                    : slowPath(from.path.substr(0, from.path.rfind('/') + 1) + to.path);
    }
  }
  return Value((from.scheme ? *from.scheme + ":" : "") + "//" + to.authority + to.path +
               to.query.value_or("") + to.fragment.value_or(""));
}

}  // namespace korvane::testing
