// What a process that decodes pictures hands back, if it were anything at all: it is refused, or is
// a bitmap within all limits, with exactly the bytes that came.

#include <cstdint>
#include <cstring>

#include "formats/images/DecodedPicture.h"
#include "formats/images/ImageWriters.h"
#include "fuzz/Require.h"

using namespace korvane;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const DecodedPicture picture = readDecodedPicture({data, size});
  REQUIRE((picture.status == DecodeStatus::decoded) == (picture.bitmap != nullptr));
  if (!picture.bitmap) return 0;
  const Bitmap& bitmap = *picture.bitmap;
  REQUIRE(fitsTogether(bitmap));
  REQUIRE(isAllowedPicture(bitmap.width, bitmap.height, bitmap.channels));
  REQUIRE(bitmap.stride == std::size_t{bitmap.width} * bitmap.channels);
  REQUIRE(bitmap.pixels.size() == bitmap.stride * bitmap.height);
  REQUIRE(bitmap.profile.empty() || isProfileOfRGB(bitmap.profile));
  REQUIRE(sizeof(DecodedHead) + bitmap.profile.size() + bitmap.pixels.size() == size);
  REQUIRE(std::memcmp(bitmap.pixels.data(), data + size - bitmap.pixels.size(),
                      bitmap.pixels.size()) == 0);
  return 0;
}
