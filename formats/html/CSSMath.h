#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace korvane {

/// The result of "calc(…)", "min(…)", "max(…)" or "clamp(…)" as one number or length: "30px" for
/// "calc(10px + 20px)". Nothing where only a browser could tell it ("calc(100% - 20px)"), where it
/// is negative, and for what is not such a function. Any thread may call.
std::optional<std::string> cssMathResult(std::string_view function);

}  // namespace korvane
