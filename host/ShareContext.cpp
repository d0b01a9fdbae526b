#include "host/ShareContext.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "host/ContentText.h"

namespace korvane {
namespace {

/// Whether a link is attached: only links hand the item's title over.
bool handsTitleOver(const NSExtensionItem& item) {
  return std::ranges::any_of(item.attachments, [](const auto& provider) {
    return provider->hasItemConformingToTypeIdentifier(kUTTypeURL) &&
           !provider->hasItemConformingToTypeIdentifier("public.file-url");
  });
}

}  // namespace

ShareContext::ShareContext(
    const ShareRequest& request,
    std::function<std::optional<std::string>(const std::string& url)> localPath) {
  loads_->localPath = std::move(localPath);
  items_.reserve(request.items.size());
  for (const ShareRequest::Item& from : request.items) {
    NSExtensionItem item;
    if (from.title) item.attributedTitle = NSAttributedString(*from.title);
    std::vector<ShareRequest::Content> contents = from.contents;
    std::vector<ShareRequest::Content> noLinks;
    item.attachments.reserve(from.attachments.size());
    for (const ShareRequest::Attachment& attachment : from.attachments) {
      if (auto provider = makeItemProvider(attachment, loads_)) {
        item.attachments.push_back(std::move(provider));
      } else {
        const auto* link = std::get_if<ShareRequest::Link>(&attachment);
        const auto* typed = std::get_if<ShareRequest::TypedText>(&attachment);
        noLinks.push_back({ShareRequest::Content::Kind::text, link ? link->url : typed->text});
      }
    }
    if (!noLinks.empty()) {
      if (from.title && !handsTitleOver(item)) {
        contents.push_back({ShareRequest::Content::Kind::text, *from.title});
      }
      std::ranges::move(noLinks, std::back_inserter(contents));
    }
    item.attributedContentText = contentText(contents);
    attachmentCount_ += item.attachments.size();
    hasContent_ = hasContent_ || !item.attachments.empty() || item.attributedContentText ||
                  (item.attributedTitle && item.attributedTitle->length() > 0);
    items_.push_back(std::move(item));
  }
}

void ShareContext::completeRequestReturningItems(std::vector<NSExtensionItem> items,
                                                 std::function<void(bool expired)> completion) {
  {
    std::lock_guard lock(mutex_);
    if (!cancelError_ && !returnedItems_) returnedItems_ = std::move(items);
  }
  if (completion) completion(false);
}

void ShareContext::cancelRequestWithError(const NSError& error) {
  std::lock_guard lock(mutex_);
  if (!cancelError_ && !returnedItems_) cancelError_ = error;
}

std::optional<NSError> ShareContext::cancelError() const {
  std::lock_guard lock(mutex_);
  return cancelError_;
}

std::optional<std::vector<NSExtensionItem>> ShareContext::returnedItems() const {
  std::lock_guard lock(mutex_);
  return returnedItems_;
}

}  // namespace korvane
