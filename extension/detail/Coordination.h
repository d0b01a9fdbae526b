#pragma once

#include <functional>
#include <optional>

#include "platform/NSURL.h"

namespace korvane {

/// Runs `accessor` with the URL to use, alone among everybody who coordinates, as a write for
/// deleting: that keeps out every writer and waits for one, and reading asks for the same. Where
/// the coordination fails (an absent URL too) nothing is run and `failureFormat` is logged with the
/// mark of errors and the error. What `accessor` throws passes on.
void coordinate(const std::optional<NSURL>& url, const char* failureFormat,
                const std::function<void(const NSURL&)>& accessor);

}  // namespace korvane
