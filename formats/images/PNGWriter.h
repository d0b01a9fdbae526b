#pragma once

#include <optional>

#include "platform/NSImage.h"

namespace korvane {

/// The bitmap as PNG (ISO/IEC 15948), with its colour profile and resolution, without an alpha
/// channel where nothing is transparent. Nothing for a bitmap whose fields do not fit together.
/// Throws std::bad_alloc. Any thread may call.
///
/// Thoroughly written, a large picture is cut into strips that `threads` threads compress side by
/// side (0: one for each processor); that takes about the memory of the bitmap twice. Quickly
/// written, it takes a third of the time on one thread and is about a twentieth larger; one with
/// grain takes half of the time either way, and is as large.
std::optional<NSData> writePNG(const Bitmap& bitmap,
                               EncodingEffort effort = EncodingEffort::thorough,
                               unsigned threads = 0);

}  // namespace korvane
