#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "text/ASCII.h"

/// Cutting up the texts of style sheets. Pure: any thread may call.
namespace korvane {

std::string_view withoutOuterSpace(std::string_view text);

/// The words of a value, functions with their brackets as one. At most 64; the views are into it.
std::vector<std::string_view> cssWords(std::string_view value);

/// What stands between the commas of a value, those within brackets aside. At most 64.
std::vector<std::string_view> cssList(std::string_view value);

enum class CSSBrackets { round, curly };
/// Where the first of the characters stands outside of quotes, which end with their line, and of
/// brackets of a kind; the size of the text where nowhere.
std::size_t findOutside(std::string_view text, ASCIISet characters,
                        CSSBrackets brackets = CSSBrackets::round);

/// The text with a space in place of each comment.
std::string withoutComments(std::string_view text);

}  // namespace korvane
