#include "share/ShareViewController.h"

#include <vector>

#include "extension/ConstVars.h"
#include "extension/ExtensionUtilities.h"
#include "platform/NSException.h"
#include "platform/NSLog.h"

namespace korvane {

std::string ShareViewController::nibName() const { return "ShareViewController"; }

void ShareViewController::loadView() {
  ExtensionUtilities::ShareInit(kShareService);
  NSViewController::loadView();
  // There is nothing to confirm: the share sheet goes before any item has been read, and the rest
  // happens in the background.
  cancel(nullptr);
  ExtensionUtilities::GetItemForExtension(extensionContext(), kShareService, ShareFull);
}

void ShareViewController::viewDidLoad() { NSViewController::viewDidLoad(); }

void ShareViewController::send(const void* /*sender*/) {
  const auto context = extensionContext();
  if (context) context->completeRequestReturningItems({NSExtensionItem()}, nullptr);
}

void ShareViewController::cancel(const void* /*sender*/) {
  const auto context = extensionContext();
  if (context) context->cancelRequestWithError({NSCocoaErrorDomain, NSUserCancelledError, {}});
}

void ShareViewController::ShareFull(const std::shared_ptr<ExtensionMessage>& message,
                                    const std::optional<NSError>& error) {
  if (error) {
    NSLog("[%@] ShareFull %@", "***ERROR***", *error);
    return;
  }
  if (!message) return;
  try {
    const auto url = message->queryUrl(commandCompose);
    if (url) ExtensionUtilities::LaunchCommands({*url}, false);
  } catch (const NSException& exception) {
    NSLog("[%@] ShareFull %@", "***ERROR***", exception);
  }
}

}  // namespace korvane
