// Any bytes, encoded and decoded.
#include <cstdint>
#include <string_view>

#include "fuzz/Require.h"
#include "platform/NSString.h"
#include "tests/support/SlowCoding.h"
#include "text/Base64.h"
#include "urlutils/RequestUtils.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace korvane;
  using enum Base64Leniency;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::string encoded = encodeBase64(bytes);
  REQUIRE(encoded == testing::slowlyBase64Encoded(bytes));
  for (const Base64Leniency leniency :
       {whiteSpace, foreignCharacters, paddingAnywhere, noPadding}) {
    REQUIRE(decodedBase64<std::string>(encoded, leniency) == bytes);
    REQUIRE(decodedBase64<std::string>(bytes, leniency) ==
            testing::slowlyBase64Decoded(bytes, leniency));
  }
  REQUIRE(RequestUtils::base64EncodedString(bytes).has_value() == !bytes.empty());
  const auto text = RequestUtils::base64DecodedString(bytes);
  if (text) REQUIRE(decodedBase64<std::string>(bytes, noPadding) == *text && isUTF8(*text));
  return 0;
}
