#include "platform/NSURLRequest.h"

#include <algorithm>

#include "text/ASCII.h"

namespace korvane {
namespace {

// The position of a field's name and value, or the end.
template <class Fields>
auto find(Fields& fields, std::string_view field) {
  return std::find_if(fields.begin(), fields.end(),
                      [&](const auto& entry) { return equalIgnoringCase(entry.first, field); });
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
