// CBOR of any bytes: what is read reads the same when it is written again, in each of its
// encodings, and the bytes that were read are the whole of them.
#include <cstdint>
#include <string_view>

#include "formats/cbor/CBOR.h"
#include "fuzz/Require.h"
#include "tests/support/CBORWriter.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace korvane;
  using testing::CBORStyle;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const auto item = readCBOR(bytes);
  if (!item) return 0;
  for (const CBORStyle style : {CBORStyle::shortest, CBORStyle::longest, CBORStyle::openEnded}) {
    const std::string written = testing::CBORWriter::write(*item, style);
    const auto again = readCBOR(written);
    REQUIRE(again.has_value());
    REQUIRE(*again == *item);
    REQUIRE(!readCBOR(std::string_view(written).substr(0, written.size() - 1)));
  }
  // The item ends where the bytes do.
  REQUIRE(!readCBOR(bytes.substr(0, size - 1)));
  return 0;
}
