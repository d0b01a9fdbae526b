#pragma once

// A slow, obvious reader of URLs, which the fast one must agree with, and both in one form.

#include <cctype>
#include <optional>
#include <string>
#include <string_view>

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

// The parts of a text, found by searching it over and over; absent where it is no URL.
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
  if (const auto colon = text.find(':'); colon != text.npos && colon > 0) {
    const std::string scheme = text.substr(0, colon);
    bool valid = std::isalpha(static_cast<unsigned char>(scheme[0])) != 0;
    for (const char c : scheme) {
      valid = valid &&
              (std::isalnum(static_cast<unsigned char>(c)) || c == '+' || c == '-' || c == '.');
    }
    if (valid) {
      parts.set("scheme", Value(scheme));
      absolute = scheme + ":";
      rest = text.substr(colon + 1);
      if (!rest.starts_with('/')) {
        parts.set("absoluteString", Value(absolute + escape(rest, "[]#")));
        return Value(parts);
      }
    }
  }
  std::optional<std::string> fragment = cut(rest, '#');
  std::optional<std::string> query = cut(rest, '?');
  if (fragment && fragment->find('#') != text.npos) return {};
  const bool hasHost = rest.starts_with("//");
  if (hasHost) {
    std::string path;
    rest = rest.substr(2);
    if (const auto slash = rest.find('/'); slash != rest.npos) {
      path = rest.substr(slash);
      rest.resize(slash);
    }
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
    if (!rest.empty()) {
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
  if (auto path = stringByReplacingPercentEscapes(rest); path && hasPath) {
    if (path->size() > 1 && path->ends_with("//")) {
      while (path->size() > 1 && path->ends_with("//")) path->pop_back();
    } else if (path->size() > 1 && path->ends_with('/')) {
      path->pop_back();
    }
    parts.set("path", Value(*path));
  }
  parts.set("absoluteString", Value(absolute));
  return Value(parts);
}

}  // namespace korvane::testing
