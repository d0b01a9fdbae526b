// Any bytes, encoded and decoded.
#include <cstdint>
#include <string_view>

#include "fuzz/Require.h"
#include "tests/support/SlowCoding.h"
#include "urlutils/RequestUtils.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace korvane;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const auto encoded = RequestUtils::base64EncodedString(bytes);
  REQUIRE(encoded == testing::slowlyBase64Encoded(bytes));
  REQUIRE(encoded.has_value() == !bytes.empty());
  if (encoded && isUTF8(bytes)) REQUIRE(RequestUtils::base64DecodedString(*encoded) == bytes);
  REQUIRE(RequestUtils::base64DecodedString(bytes) == testing::slowlyBase64Decoded(bytes));
  return 0;
}
