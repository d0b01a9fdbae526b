#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace korvane {

struct AnchoredText {
  std::string text;
  /// False when links were left as they stand because of the limits.
  bool complete = true;
};

/// The text with each of the links (none empty), in their order, replaced wherever it stands by
/// "<a href='link'>link</a>": also inside the anchors of the links before it, and once more for
/// each time that the list holds it. A link that stands k times is thus replaced k times, which
/// doubles its anchors each time, so replacing ends before the first link that would make the text
/// longer than `limit` bytes.
///
/// Time and memory grow with the text, the links and the result. To keep them so, replacing also
/// ends where links overlap more than 16 times at every byte, and before the 65th link that stands
/// across the edge of an anchor (as "http://a'" does in that of "http://a"), since each of those
/// costs a search of the whole text.
AnchoredText textWithAnchors(std::string_view text, const std::vector<std::string>& links,
                             std::size_t limit);

}  // namespace korvane
