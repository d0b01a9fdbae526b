// Image data of any bytes: first what is looked at in the sharing process, then the whole way
// through the process that decodes. That gives a picture or a reason, and the picture can be
// written and read again. Under a sanitizer, or with an engine, a process for each input makes this
// slow; what it finds is a decoder's end that was not foreseen.

#include <cstdint>
#include <string>

#include "formats/images/DecodedPicture.h"
#include "formats/images/ImageEnd.h"
#include "formats/images/ImageFormat.h"
#include "formats/images/ImageParts.h"
#include "formats/images/ImageWriters.h"
#include "fuzz/Require.h"
#include "linux/detail/Images.h"

using namespace korvane;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const NSData encoded(data, data + size);
  const std::string_view format = imageFormat(encoded);
  std::size_t end = 0;
  for (const ImagePart& part : neededParts(encoded, format)) {
    REQUIRE(part.begin >= end && part.begin <= part.end && part.end <= size);
    end = part.end;
  }
  isCutOff(encoded);

  Images images;
  std::string why;
  const auto bitmap = images.decode(encoded, &why);
  REQUIRE(why.empty() == (bitmap != nullptr));
  REQUIRE(why.find("fit together") == std::string::npos);
  REQUIRE(why.find("may not do") == std::string::npos);  // a call was forgotten, or it is an attack
  REQUIRE(why.find("cannot be started") == std::string::npos);
  if (!bitmap) return 0;
  REQUIRE(fitsTogether(*bitmap));
  REQUIRE(isAllowedPicture(bitmap->width, bitmap->height, bitmap->channels));
  constexpr std::size_t kWritten = std::size_t{1} << 22;
  if (bitmap->pixels.size() > kWritten) return 0;
  const auto png = images.encode(*bitmap, NSBitmapImageFileType::PNG);
  REQUIRE(png && !isCutOff(*png));
  const auto again = images.decode(*png, &why);
  REQUIRE(again && again->width == bitmap->width && again->height == bitmap->height);
  if (again->channels == bitmap->channels) REQUIRE(again->pixels == bitmap->pixels);
  return 0;
}
