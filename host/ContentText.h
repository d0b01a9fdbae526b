#pragma once

#include <optional>
#include <vector>

#include "host/ShareRequest.h"
#include "platform/NSAttributedString.h"

namespace korvane {

/// One styled text that holds all pieces in their order, each on lines of its own: plain text as it
/// stands, with the links that the Platform's detector finds in it, HTML with its style. HTML that
/// cannot be read as such counts as plain text, so nothing is lost. Absent without a piece that has
/// anything in it. Uses the Platform's HTML reader too.
std::optional<NSAttributedString> contentText(const std::vector<ShareRequest::Content>& pieces);

}  // namespace korvane
