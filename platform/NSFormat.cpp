#include "platform/NSFormat.h"

#include <array>

namespace korvane {

std::string stringWithFormat(std::string_view format,
                             std::initializer_list<FormatArgument> arguments) {
  static constexpr std::array<std::string_view, 3> kPlaceholders{"%@", "%lu", "%i"};
  std::string result;
  std::size_t size = format.size();
  for (const FormatArgument& argument : arguments) size += argument.text().size();
  result.reserve(size);

  const auto* next = arguments.begin();
  while (!format.empty()) {
    const std::size_t percent = format.find('%');
    result.append(format.substr(0, percent));
    if (percent == std::string_view::npos) break;
    format.remove_prefix(percent);
    if (format.starts_with("%%")) {
      result += '%';
      format.remove_prefix(2);
      continue;
    }
    std::string_view placeholder;
    for (std::string_view known : kPlaceholders) {
      if (format.starts_with(known)) placeholder = known;
    }
    if (!placeholder.empty() && next != arguments.end()) {
      result += (next++)->text();
      format.remove_prefix(placeholder.size());
    } else {
      result += '%';
      format.remove_prefix(1);
    }
  }
  return result;
}

}  // namespace korvane
