#include "platform/NSError.h"

#include <system_error>

namespace korvane {

std::string NSError::description() const {
  const std::string text =
      localizedDescription.empty() ? "(null)" : '"' + localizedDescription + '"';
  return "Error Domain=" + domain + " Code=" + std::to_string(code) + ' ' + text;
}

NSError NSError::withErrno(int errnoValue, const std::string& subject) {
  std::string text = std::generic_category().message(errnoValue);
  if (!subject.empty()) text = subject + ": " + text;
  return {NSPOSIXErrorDomain, errnoValue, std::move(text)};
}

}  // namespace korvane
