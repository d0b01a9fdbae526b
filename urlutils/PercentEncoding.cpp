#include "platform/NSString.h"
#include "text/PercentEscapes.h"
#include "urlutils/RequestUtils.h"

namespace korvane::RequestUtils {

std::string URLEncodedString(std::string_view subject) {
  std::string result;
  appendPercentEncoded(result, subject);
  return result;
}

std::optional<std::string> URLDecodedString(std::string_view subject, bool plusAsSpace) {
  std::string result;
  if (!assignByReplacingPercentEscapes(result, subject, plusAsSpace)) return std::nullopt;
  return result;
}

}  // namespace korvane::RequestUtils
