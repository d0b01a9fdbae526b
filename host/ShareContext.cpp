#include "host/ShareContext.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "host/ContentText.h"
#include "platform/detail/Translation.h"

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
    ShareRequest request, std::shared_ptr<RunWatch> run,
    std::function<std::optional<FetchedFile>(const std::string& url)> fetched) {
  const auto loads = std::make_shared<ShareLoads>(std::move(run), std::move(fetched));
  items_.reserve(request.items.size());
  for (ShareRequest::Item& from : request.items) {
    NSExtensionItem item;
    if (from.title) item.attributedTitle = NSAttributedString(*from.title);
    std::vector<ShareRequest::Content> noLinks;
    item.attachments.reserve(from.attachments.size());
    for (ShareRequest::Attachment& attachment : from.attachments) {
      if (auto provider = makeItemProvider(attachment, loads)) {
        item.attachments.push_back(std::move(provider));
      } else {
        auto* link = std::get_if<ShareRequest::Link>(&attachment);
        auto* typed = std::get_if<ShareRequest::TypedText>(&attachment);
        noLinks.push_back(
            {ShareRequest::Content::Kind::text, std::move(link ? link->url : typed->text)});
      }
    }
    if (from.title && !from.title->empty() && !handsTitleOver(item)) {
      if (noLinks.empty()) {
        loads->run->miss(translated("the title \"{0}\"", *from.title),
                         translated("it is shared with a link only"));
      } else {
        from.contents.push_back({ShareRequest::Content::Kind::text, *from.title});
      }
    }
    std::ranges::move(noLinks, std::back_inserter(from.contents));
    item.attributedContentText = contentText(from.contents);
    items_.push_back(std::move(item));
  }
  for (MissingThing& thing : request.unread) {
    loads->run->miss(std::move(thing.item), std::move(thing.reason));
  }
}

bool ShareContext::hasText() const {
  return std::ranges::any_of(items_, [](const NSExtensionItem& item) {
    return item.attributedContentText && item.attributedContentText->length() > 0;
  });
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
