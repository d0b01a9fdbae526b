#pragma once

#include <optional>
#include <string_view>

namespace korvane::RequestUtils {

/// URLQuery without a copy: a part of the subject. Raises as rangeOfURLQuery does; any thread may
/// call.
std::optional<std::string_view> queryInside(std::string_view subject);

}  // namespace korvane::RequestUtils
