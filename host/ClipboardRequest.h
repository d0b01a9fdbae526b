#pragma once

#include "host/ShareRequest.h"
#include "linux/detail/Clipboard.h"

namespace korvane {

/// The request that shares what a clipboard holds, with one item. Of what is there, the first of
/// these counts:
///
/// - files and folders, as file managers put them there (text/uri-list and their own types);
/// - styled text, with a link to the page that it was copied from where the browser says which,
///   which relative links in it are relative to;
/// - a picture, with the link likewise;
/// - plain text.
///
/// Uses the Platform's HTML reader. Throws std::runtime_error, one line for people, where there is
/// none of them or it cannot be read.
ShareRequest requestFromClipboard(Clipboard& clipboard);

}  // namespace korvane
