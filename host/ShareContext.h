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
  /// Makes the input items and tells `run` of the things attached; the Platform must be installed.
  /// `fetched` gives what became of a remote file, and is not used afterwards. What
  /// makeItemProvider makes no link of joins its item's text, behind the title where no other link
  /// hands that over.
  ShareContext(ShareRequest request, std::shared_ptr<RunWatch> run,
               std::function<std::optional<FetchedFile>(const std::string& url)> fetched);

  const std::vector<NSExtensionItem>& inputItems() const override { return items_; }
  void completeRequestReturningItems(std::vector<NSExtensionItem> items,
                                     std::function<void(bool expired)> completion) override;
  void cancelRequestWithError(const NSError& error) override;

  /// Whether text accompanies any item.
  bool hasText() const;

  /// How the extension ended the request; the first end counts. Both are absent before.
  std::optional<NSError> cancelError() const;
  std::optional<std::vector<NSExtensionItem>> returnedItems() const;

 private:
  std::vector<NSExtensionItem> items_;
  mutable std::mutex mutex_;
  std::optional<NSError> cancelError_;
  std::optional<std::vector<NSExtensionItem>> returnedItems_;
};

}  // namespace korvane
