#pragma once

#include <array>
#include <cstdint>
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
/// The same, remembered for short labels in ASCII: to be asked costs more than all else of a short
/// link, and one text has few endings. For one thread.
class TopLevelDomains {
 public:
  bool contains(std::string_view label);

 private:
  struct Answer {
    std::uint64_t label = 0;  // its characters in lower case
    bool isTopLevelDomain = false;
  };
  std::array<Answer, 64> answers_{};
};
/// Whether a top label can be one: no number, and not a single letter.
bool canBeTopLabel(std::string_view topLabel);

}  // namespace korvane::links
