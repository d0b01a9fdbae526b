#include "share/ShareViewController.h"

#include <vector>

#include "extension/ConstVars.h"
#include "extension/ExtensionUtilities.h"
#include "share/detail/ShareFull.h"

namespace korvane {

std::string ShareViewController::nibName() const { return "ShareViewController"; }

void ShareViewController::loadView() {
  ExtensionUtilities::ShareInit(kShareService);
  NSViewController::loadView();
  // There is nothing to confirm: the share sheet goes before any item has been read, and the rest
  // happens in the background.
  cancel(nullptr);
  ExtensionUtilities::GetItemForExtension(extensionContext(), kShareService, shareFull);
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

}  // namespace korvane
