#include "model/ExtensionGroup.h"

#include "model/detail/RecordReading.h"
#include "platform/NSException.h"
#include "platform/NSFormat.h"
#include "platform/NSLog.h"

namespace korvane {
namespace {

Value noName() { return localizedText("No Name"); }

}  // namespace

template <class Source>
void ExtensionGroup::read(Source& dictionary) {
  try {
    idx_.set(valueForKey(dictionary, "idx", emptyText));
    name_.set(valueForKey(dictionary, "name", noName));
    addresses_.set(Addresses());
    addresses_.set(recordsForKey<ExtensionAddress>(dictionary, "addresses"));
  } catch (const NSException& exception) {
    NSLog("ExtensionGroup initWithDictonary %@", exception);
  }
}

ExtensionGroup::ExtensionGroup(Value&& dictionary) {
  UsedDictionary used(std::move(dictionary));
  read(used);
}

void ExtensionGroup::initWithDictonary(const Value& dictionary) { read(dictionary); }

std::string ExtensionGroup::description() const {
  return stringWithFormat("ExtensionGroup %@", name());
}

std::string ExtensionGroup::prettyprint() const {
  const std::size_t members = addresses_.read(
      [](const std::optional<Addresses>& addresses) { return addresses ? addresses->size() : 0; });
  if (members > 0) return stringWithFormat("%@ (%@)", name(), members);
  return stringWithFormat("%@", name());
}

}  // namespace korvane
