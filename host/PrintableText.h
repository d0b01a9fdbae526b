#pragma once

#include <string>
#include <string_view>

namespace korvane {

/// What printableText does with line feeds.
enum class LineBreaks { keep, show };

/// A text from outside as it may be written to a terminal, as UTF-8: what steers a terminal or
/// turns the direction of the text around (control characters, bidirectional embeddings and
/// overrides, U+2028, U+2029) is shown as "<U+001B>", what is no UTF-8 as U+FFFD. Tabs stay, and
/// line feeds where they are kept, each carriage return before one being dropped.
std::string printableText(std::string_view text, LineBreaks lineBreaks);

/// A text as a JSON string with its quotes (RFC 8259): lossless for every UTF-8 text, with the
/// characters named above escaped, so that it can be shown on a terminal too. What is no UTF-8
/// becomes U+FFFD.
std::string jsonString(std::string_view text);

}  // namespace korvane
