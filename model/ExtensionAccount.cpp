#include "model/ExtensionAccount.h"

#include "model/detail/RecordReading.h"
#include "platform/NSException.h"
#include "platform/NSFormat.h"
#include "platform/NSLog.h"

namespace korvane {

void ExtensionAccount::initWithDictonary(const Value& dictionary) {
  try {
    mail_.set(valueForKey(dictionary, "mail", [] { return localizedText("No Mail"); }));
    name_.set(valueForKey(dictionary, "name", [] { return localizedText(""); }));
    // An absent value converts to the defaults, 0 and false.
    const Value type = dictionary.objectForKey("type");
    type_.set(raisingFor("type", [&] { return type.integerValue(); }));
    const Value enabled = dictionary.objectForKey("enabled");
    enabled_.set(raisingFor("enabled", [&] { return enabled.boolValue(); }));
    aliases_.set(Aliases());
    aliases_.set(recordsForKey<ExtensionAlias>(dictionary, "aliases"));
  } catch (const NSException& exception) {
    NSLog("ExtensionAccount initWithDictonary %@", exception);
  }
}

std::string ExtensionAccount::description() const {
  return stringWithFormat("ExtensionAccount %@", mail());
}

}  // namespace korvane
