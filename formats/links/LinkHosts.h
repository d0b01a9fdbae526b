#pragma once

#include <optional>
#include <string>
#include <string_view>

/// What the link detector knows of hosts. Any thread may call.
namespace korvane::links {

/// A host, in UTF-8, as DNS has it: in ASCII, at most 253 bytes with labels of 1 to 63, which
/// neither begin nor end with "-". Absent when it has no such form.
std::optional<std::string> asciiHost(std::string_view host);
/// Whether a label, in any case and script, is a top-level domain.
bool isTopLevelDomain(std::string_view label);
/// Whether a top label can be one: no number, and not a single letter.
bool canBeTopLabel(std::string_view topLabel);

}  // namespace korvane::links
