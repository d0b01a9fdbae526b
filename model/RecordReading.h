#pragma once

#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/NSBundle.h"
#include "platform/Value.h"

// What the records' readers share. Every function raises NSException for a value that is not of
// the kind it reads.
namespace korvane {

/// The default of most texts.
inline Value emptyText() {
  static const Value text("");
  return text;
}

/// A default that users see, in their language.
inline Value localizedText(std::string_view key) {
  return NSBundle::mainBundle()->localizedStringForKey(key, "", "");
}

/// The value under a key of the dictionary, whatever its kind, or `fallback()` where there is none.
template <class Fallback>
Value valueForKey(const Value& dictionary, std::string_view key, Fallback&& fallback) {
  Value value = dictionary.objectForKey(key);
  if (value.isAbsent()) return std::forward<Fallback>(fallback)();
  return value;
}

/// A record made of each element of a list; an absent list has none.
template <class Record>
std::vector<std::shared_ptr<Record>> recordsOfList(const Value& list) {
  std::vector<std::shared_ptr<Record>> records;
  if (list.isAbsent()) return records;
  const List& elements = list.list();
  records.reserve(elements.size());
  for (const Value& element : elements) records.push_back(std::make_shared<Record>(element));
  return records;
}

}  // namespace korvane
