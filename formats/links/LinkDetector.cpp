#include "formats/links/LinkDetector.h"

#include "formats/links/LinkScanner.h"

namespace korvane {

std::vector<NSTextCheckingResult> LinkDetector::matchesInString(std::string_view text) {
  std::uint64_t steps = 0;
  return matches(text, steps);
}

std::vector<NSTextCheckingResult> LinkDetector::matches(std::string_view text,
                                                        std::uint64_t& steps) {
  links::LinkScanner scanner(text);
  std::vector<NSTextCheckingResult> found = scanner.links();
  steps += scanner.steps();
  return found;
}

}  // namespace korvane
