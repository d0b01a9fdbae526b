#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

// Searching a text in time that grows with its length alone, whatever it holds.
namespace korvane {

/// Where `searched` (not empty) begins in the text, from left to right without overlaps.
std::vector<std::size_t> occurrences(std::string_view text, std::string_view searched);

/// Where each of the searched texts (all different, none empty) begins in the text, from left to
/// right, overlaps included: one list for each of them. Absent when there are more than 16 places
/// for each byte of the text and 16,384 besides, or more than 4 GiB to search or to search for.
std::optional<std::vector<std::vector<std::uint32_t>>> occurrencesOfEach(
    std::string_view text, const std::vector<std::string_view>& searched);

}  // namespace korvane
