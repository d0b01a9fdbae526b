#pragma once

#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/NSBundle.h"
#include "platform/NSException.h"
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

/// A dictionary that is used up by reading each of its keys once: nothing is copied where nobody
/// shares it, which matters with the contacts of a large address book.
class UsedDictionary {
 public:
  explicit UsedDictionary(Value&& dictionary) : dictionary_(std::move(dictionary)) {}
  Value objectForKey(std::string_view key) { return dictionary_.takeObjectForKey(key); }

 private:
  Value dictionary_;
};

/// The value under a key of the dictionary, whatever its kind, or `fallback()` where there is none.
template <class Source, class Fallback>
Value valueForKey(Source& dictionary, std::string_view key, Fallback&& fallback) {
  Value value = dictionary.objectForKey(key);
  if (value.isAbsent()) return std::forward<Fallback>(fallback)();
  return value;
}

/// A record made of each element of the list under a key; an absent list has none.
template <class Record, class Source>
std::vector<std::shared_ptr<Record>> recordsForKey(Source& dictionary, std::string_view key) {
  std::vector<std::shared_ptr<Record>> records;
  Value list = dictionary.objectForKey(key);
  if (list.isAbsent()) return records;
  List elements = raisingFor(key, [&] { return std::move(list).takeList(); });
  records.reserve(elements.size());
  for (Value& element : elements) records.push_back(std::make_shared<Record>(std::move(element)));
  return records;
}

}  // namespace korvane
