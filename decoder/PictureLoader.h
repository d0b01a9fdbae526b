#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace korvane {

/// A drawing that asks for more than this in one direction is drawn smaller, its proportions kept.
constexpr int kMaxDrawingSide = 4096;

/// Loads the code that decodes this format (see imageFormat(); empty: of every format), as far as
/// it is not there already. Where nothing can be opened later, fonts for drawings too.
void prepareLoaders(std::string_view format, bool mayOpenLater);

/// Writes the names of the formats whose code is installed to a descriptor, a line each. False
/// where they could not be written.
bool writeFormats(int output);

/// Decodes a picture with gdk-pixbuf and writes what DecodedPicture.h describes to a descriptor. Of
/// an animation, the first frame. The rows are turned as the orientation mark says; 16-bit samples
/// become 8-bit ones. False where it could not be written.
bool decodePicture(std::span<const std::uint8_t> encoded, std::string_view format, int output);

}  // namespace korvane
