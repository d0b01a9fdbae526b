#include "model/ExtensionAlias.h"

#include "model/detail/RecordReading.h"
#include "platform/NSException.h"
#include "platform/NSFormat.h"
#include "platform/NSLog.h"

namespace korvane {

void ExtensionAlias::initWithDictonary(const Value& dictionary) {
  try {
    mail_.set(valueForKey(dictionary, "mail", [] { return localizedText("No Mail"); }));
    name_.set(valueForKey(dictionary, "name", [] { return localizedText(""); }));
    account_.set(valueForKey(dictionary, "account", [] { return localizedText(""); }));
  } catch (const NSException& exception) {
    NSLog("ExtensionAlias initWithDictonary %@", exception);
  }
}

std::string ExtensionAlias::description() const {
  return stringWithFormat("ExtensionAlias %@", mail());
}

}  // namespace korvane
