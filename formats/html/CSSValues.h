#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace korvane {

/// A value in which nothing loads, runs or reaches elsewhere: words, numbers, quoted names and
/// colours, white space as single spaces. Colours that older mail clients do not know come out as
/// rgb, calculations as what they give. Nothing for escapes, any other function, negative numbers
/// (which could lay one text over another) and more than 200 characters. Any thread may call.
std::optional<std::string> harmlessValue(std::string_view value);

}  // namespace korvane
