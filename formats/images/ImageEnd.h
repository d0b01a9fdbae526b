#pragma once

#include "platform/Value.h"

namespace korvane {

/// Whether image data ends before its format's own end: half a download, a full disk. Looks at PNG,
/// JPEG, WebP, BMP and ICO, whose loaders fill what is missing with a plain colour and say nothing;
/// false for all others. Reads the data at most once. Any thread may call.
bool isCutOff(const NSData& encoded);

}  // namespace korvane
