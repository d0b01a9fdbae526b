#include "text/Base64.h"

#include "platform/NSString.h"
#include "urlutils/RequestUtils.h"

namespace korvane::RequestUtils {

std::optional<std::string> base64EncodedString(std::string_view subject) {
  if (subject.empty()) return std::nullopt;
  return encodeBase64(subject);
}

std::optional<std::string> base64DecodedString(std::string_view subject) {
  auto result = decodedBase64<std::string>(subject, Base64Leniency::noPadding);
  if (result->empty() || !isUTF8(*result)) return std::nullopt;
  return result;
}

}  // namespace korvane::RequestUtils
