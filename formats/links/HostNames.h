#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace korvane {

/// The longest name of a host in DNS, and the longest of its labels, in bytes of ASCII.
inline constexpr std::size_t kMaxHost = 253;
inline constexpr std::size_t kMaxHostLabel = 63;

/// An internationalized host name, in UTF-8, in the form that DNS knows (UTS 46), in ASCII. Absent
/// when it has none. Any thread may call.
std::optional<std::string> punycodeHost(std::string_view host);

}  // namespace korvane
