#pragma once

#include <string>
#include <string_view>

/// The addresses of links in HTML documents. Pure: any thread may call.
namespace korvane {

/// The link as browsers read it: spaces around it and line breaks in it do not count.
std::string cleanedLink(std::string link);

/// Whether the address can be the base of others: http or https with a host, up to
/// 4,096 bytes.
bool isLinkBase(std::string_view address);

/// The address that a link leads to, seen from a base; as it stands where it has a scheme of its
/// own, empty where it is relative and there is no base that isLinkBase().
std::string resolvedLink(std::string_view link, std::string_view base);

}  // namespace korvane
