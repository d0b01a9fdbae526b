// Any bytes, percent-encoded and decoded.
#include <cstdint>
#include <string_view>

#include "fuzz/Require.h"
#include "platform/NSString.h"
#include "tests/support/SlowCoding.h"
#include "urlutils/RequestUtils.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace korvane;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::string encoded = RequestUtils::URLEncodedString(bytes);
  REQUIRE(encoded == testing::slowlyURLEncoded(bytes));
  for (const bool plus : {false, true}) {
    if (isUTF8(bytes) && !bytes.starts_with("\uFEFF")) {
      REQUIRE(RequestUtils::URLDecodedString(encoded, plus) == bytes);
    }
    REQUIRE(RequestUtils::URLDecodedString(bytes, plus) == testing::slowlyURLDecoded(bytes, plus));
  }
  return 0;
}
