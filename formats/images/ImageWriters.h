#pragma once

#include <memory>
#include <optional>

#include "platform/NSImage.h"

/// Writing bitmaps as files; what Images is made of. Pure: any thread may call. Those that
/// make something throw std::bad_alloc when memory runs out.
namespace korvane {

/// Whether a bitmap has at least one pixel, three or four channels, and all the bytes that its
/// other fields announce.
bool fitsTogether(const Bitmap& bitmap);

/// The bitmap as TIFF 6.0, in one uncompressed strip; nothing also for more than 4 GiB.
std::optional<NSData> writeTIFF(const Bitmap& bitmap);

/// The bitmap of a file that writeTIFF() wrote, nothing for any other: such a file is only looked
/// at, not decoded, and keeps the colour of transparent pixels.
std::shared_ptr<Bitmap> readOwnTIFF(const NSData& file);

}  // namespace korvane
