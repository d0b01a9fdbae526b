#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/ItemProviders.h"
#include "host/ShareRequest.h"
#include "platform/NSExtension.h"

namespace korvane {

/// The extension context of a share request.
class ShareContext : public NSExtensionContext {
 public:
  /// Makes the input items; the Platform must be installed. `localPath` finds the local path of a
  /// remote file's URL. What makeItemProvider makes no link of joins its item's text, behind the
  /// title where no other link hands that over.
  ShareContext(const ShareRequest& request,
               std::function<std::optional<std::string>(const std::string& url)> localPath);

  const std::vector<NSExtensionItem>& inputItems() const override { return items_; }
  void completeRequestReturningItems(std::vector<NSExtensionItem> items,
                                     std::function<void(bool expired)> completion) override;
  void cancelRequestWithError(const NSError& error) override;

  /// Whether the request holds anything that a message could.
  bool hasContent() const { return hasContent_; }
  /// Number of things attached to the items.
  std::size_t attachmentCount() const { return attachmentCount_; }
  /// Links that the extension has got by now. Any thread may call.
  std::size_t linksDelivered() const { return loads_->linksDelivered; }

  /// How the extension ended the request; the first end counts. Both are absent before.
  std::optional<NSError> cancelError() const;
  std::optional<std::vector<NSExtensionItem>> returnedItems() const;

 private:
  std::shared_ptr<ShareLoads> loads_ = std::make_shared<ShareLoads>();
  std::vector<NSExtensionItem> items_;
  bool hasContent_ = false;
  std::size_t attachmentCount_ = 0;
  mutable std::mutex mutex_;
  std::optional<NSError> cancelError_;
  std::optional<std::vector<NSExtensionItem>> returnedItems_;
};

}  // namespace korvane
