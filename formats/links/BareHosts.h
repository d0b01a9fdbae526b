#pragma once

#include <string_view>

namespace korvane::links {

/// A host that stands in a text without a scheme and without "www.", and what stands around it.
struct BareHost {
  /// In ASCII, case as written, at least two labels.
  std::string_view name;
  /// Of `name`.
  std::string_view topLabel;
  bool hasPort = false;
  /// What follows the host and its port: the path, or the text behind the link.
  std::string_view rest;
  /// Whether it stands behind "->" or "*", as code does.
  bool behindOperator = false;
};

/// Whether the host is a domain, and not a file's name, a piece of code, an abbreviation or two
/// sentences without a space between them. Any thread may call.
bool isBareDomain(const BareHost& host);

/// Whether a host is four decimal numbers up to 255: "192.168.1.1".
bool isIPv4Address(std::string_view host);

}  // namespace korvane::links
