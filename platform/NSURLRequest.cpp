#include "platform/NSURLRequest.h"

#include <algorithm>

namespace korvane {
namespace {

char lowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; }

bool sameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return lowerCase(x) == lowerCase(y); });
}

// The position of a field's name and value, or the end.
template <class Fields>
auto find(Fields& fields, std::string_view field) {
  return std::find_if(fields.begin(), fields.end(),
                      [&](const auto& entry) { return sameName(entry.first, field); });
}

}  // namespace

std::optional<std::string> NSURLRequest::valueForHTTPHeaderField(std::string_view field) const {
  const auto found = find(fields_, field);
  if (found == fields_.end()) return std::nullopt;
  return found->second;
}

void NSMutableURLRequest::setValueForHTTPHeaderField(std::optional<std::string_view> value,
                                                     std::string_view field) {
  const auto found = find(fields_, field);
  if (!value) {
    if (found != fields_.end()) fields_.erase(found);
  } else if (found != fields_.end()) {
    found->second = *value;
  } else {
    fields_.emplace_back(field, *value);
  }
}

void NSMutableURLRequest::addValueForHTTPHeaderField(std::string_view value,
                                                     std::string_view field) {
  const auto found = find(fields_, field);
  if (found == fields_.end()) {
    fields_.emplace_back(field, value);
  } else {
    found->second += ',';
    found->second += value;
  }
}

}  // namespace korvane
