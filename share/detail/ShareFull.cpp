#include "share/detail/ShareFull.h"

#include <utility>
#include <vector>

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
    auto url = message->queryUrl(commandCompose);
    if (!url) return;
    std::vector<NSURL> urls;
    urls.push_back(*std::move(url));  // of up to 64 MiB
    ExtensionUtilities::LaunchCommands(urls, false);
  } catch (const NSException& exception) {
    NSLog("[%@] ShareFull %@", kErrorMark, exception);
  }
}

}  // namespace korvane
