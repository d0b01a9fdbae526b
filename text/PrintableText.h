#pragma once

#include <string>
#include <string_view>

namespace korvane {

/// What printableText does with line breaks and tabs.
enum class LineBreaks {
  keep,  ///< a text of lines: line feeds and tabs stay, a carriage return before a line feed goes
  show,  ///< one line; tabs stay
};

/// Whether a character steers what a terminal shows: control characters (C0, C1, DEL), line and
/// paragraph separators, bidirectional embeddings, overrides and isolates.
constexpr bool isSteering(char32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || (code >= 0x2028 && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069);
}

/// A text from outside as it may be shown on a terminal, in a log and in a notification, as UTF-8:
/// what steers a terminal or turns the direction of the text around is shown as "<U+001B>", what
/// is not UTF-8 as U+FFFD. Any thread may call.
std::string printableText(std::string_view text, LineBreaks lineBreaks);

}  // namespace korvane
