#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace korvane {

/// Some bytes of image data.
struct ImagePart {
  std::size_t begin = 0;
  std::size_t end = 0;
};

/// What a loader needs of image data, in order: of a GIF the first frame and the end, of a PNG all
/// but its texts, of any other format everything. So frames that nobody sees and texts that unpack
/// to gigabytes cost nothing. Data that is not built as its format says comes back whole: the
/// loader will refuse it. Reads the data at most once; any thread may call.
std::vector<ImagePart> neededParts(std::span<const std::uint8_t> encoded, std::string_view format);

}  // namespace korvane
