#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace korvane {

/// A JSON text with every escape of half of a surrogate pair ("\ud83d"), which readers refuse,
/// made one of U+FFFD, in its place; nothing where there is none. The text need not be whole or
/// right. Any thread may call.
std::optional<std::string> withoutLoneSurrogates(std::string_view json);

}  // namespace korvane
