#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "compose/Recipients.h"

// Values of a message's headers as they are written: ASCII, folded with a line feed and a space.
// The text that goes in is UTF-8 on one line and comes out of every reader as it was, white space
// included. Pure: any thread may call.
namespace korvane {

/// A text, as a subject (RFC 2047).
std::string headerText(std::string_view text);

/// Mailboxes (RFC 5322), each on a line of its own.
std::string headerMailboxes(const std::vector<Mailbox>& mailboxes);

/// A parameter with what separates it from what stands before it: `; name="a.txt"`, or in the form
/// of RFC 2231 for all but plain words, which different programs read differently inside quotes.
std::string headerParameter(std::string_view name, std::string_view value);

}  // namespace korvane
