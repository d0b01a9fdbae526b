#include "share/detail/ShareFull.h"

#include "extension/ConstVars.h"
#include "extension/ExtensionUtilities.h"
#include "platform/NSException.h"
#include "platform/NSLog.h"

namespace korvane {

void shareFull(const std::shared_ptr<ExtensionMessage>& message,
               const std::optional<NSError>& error) {
  if (error) {
    NSLog("[%@] ShareFull %@", kErrorMark, *error);
    return;
  }
  if (!message) return;
  try {
    const auto url = message->queryUrl(commandCompose);
    if (url) ExtensionUtilities::LaunchCommands({*url}, false);
  } catch (const NSException& exception) {
    NSLog("[%@] ShareFull %@", kErrorMark, exception);
  }
}

}  // namespace korvane
