#include "urlutils/detail/PercentEncoding.h"

#include "platform/NSString.h"
#include "text/PercentEscapes.h"
#include "urlutils/RequestUtils.h"

namespace korvane::RequestUtils {
namespace {

// U+FEFF. As the first character it says how a text is stored, and is no part of it.
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

}  // namespace

void appendURLEncoded(std::string& to, std::string_view subject) {
  if (subject.starts_with(kByteOrderMark)) subject.remove_prefix(kByteOrderMark.size());
  appendPercentEncoded(to, subject);
}

bool assignURLDecoded(std::string& to, std::string_view subject, bool plusAsSpace) {
  to.clear();
  return appendByReplacingPercentEscapes(to, subject, plusAsSpace) && isUTF8(to);
}

std::string URLEncodedString(std::string_view subject) {
  std::string result;
  appendURLEncoded(result, subject);
  return result;
}

std::optional<std::string> URLDecodedString(std::string_view subject, bool plusAsSpace) {
  std::string result;
  if (!assignURLDecoded(result, subject, plusAsSpace)) return std::nullopt;
  return result;
}

}  // namespace korvane::RequestUtils
