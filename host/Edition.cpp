#include "host/Edition.h"

#ifndef KORVANE_SUFFIX
#define KORVANE_SUFFIX ""
#endif
#ifndef KORVANE_LABEL
#define KORVANE_LABEL ""
#endif
#ifndef KORVANE_RESOURCES
#define KORVANE_RESOURCES ""
#endif

namespace korvane {
namespace {

bool goesOn(char c) {
  return c == '-' || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

}  // namespace

std::string ownName(std::string_view program) {
  return std::string(program).append(KORVANE_SUFFIX);
}

std::string withOwnName(std::string_view text, std::string_view program) {
  std::string result;
  for (;;) {
    const std::size_t at = text.find(program);
    if (program.empty() || at == std::string_view::npos) return result.append(text);
    const std::size_t end = at + program.size();
    result.append(text.substr(0, end));
    text.remove_prefix(end);
    if (text.empty() || !goesOn(text.front())) result.append(KORVANE_SUFFIX);
  }
}

LinuxOptions ownServices(std::string_view bundleIdentifier) {
  LinuxOptions options;
  options.bundleIdentifier = bundleIdentifier;
  options.resources = KORVANE_RESOURCES;
  options.applicationName = "Korvane Share" KORVANE_LABEL;
  options.applicationEntry = ownName("korvane-share");
  return options;
}

}  // namespace korvane
