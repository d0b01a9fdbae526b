#include "platform/NSData.h"

#include "text/Base64.h"

namespace korvane {

std::optional<NSData> dataWithBase64EncodedString(std::string_view text) {
  return decodedBase64<NSData>(text, Base64Leniency::foreignCharacters);
}

}  // namespace korvane
