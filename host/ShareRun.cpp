#include "host/ShareRun.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>
#include <utility>
#include <variant>

#include "host/FetchedFiles.h"
#include "host/ShareContext.h"
#include "platform/NSString.h"
#include "platform/detail/Translation.h"
#include "share/ShareViewController.h"
#include "text/ASCII.h"

namespace korvane {
namespace {

bool isPicture(const ShareRequest::Attachment& attachment) {
  static constexpr std::array<std::string_view, 11> kExtensions{
      "png", "jpg", "jpeg", "gif", "webp", "heic", "avif", "tif", "tiff", "bmp", "svg"};
  const auto* file = std::get_if<ShareRequest::File>(&attachment);
  if (!file) {
    return std::holds_alternative<ShareRequest::ImageFile>(attachment) ||
           std::holds_alternative<ShareRequest::ImageData>(attachment);
  }
  const std::string extension = pathExtension(file->path);
  return std::ranges::any_of(
      kExtensions, [&](std::string_view known) { return equalIgnoringCase(known, extension); });
}

/// What a share of this request does, for people.
std::string preparingText(const ShareRequest& request) {
  unsigned long all = 0;
  unsigned long pictures = 0;
  unsigned long files = 0;
  for (const ShareRequest::Item& item : request.items) {
    for (const ShareRequest::Attachment& attachment : item.attachments) {
      ++all;
      if (isPicture(attachment)) ++pictures;
      if (std::holds_alternative<ShareRequest::File>(attachment)) ++files;
    }
  }
  if (all == 0) return translated("Preparing the message…");
  if (pictures == all) {
    return translatedCount("Preparing {0} picture…", "Preparing {0} pictures…", all);
  }
  if (files == all) return translatedCount("Preparing {0} file…", "Preparing {0} files…", all);
  return translatedCount("Preparing {0} item…", "Preparing {0} items…", all);
}

}  // namespace

ShareOutcome runShare(ShareRequest request, const ShareOptions& options) {
  const auto run = std::make_shared<RunWatch>(options.hooks);
  std::string preparing = preparingText(request);
  const FetchedFiles fetched(request, options, run);
  const auto context = std::make_shared<ShareContext>(
      std::move(request), run, [&fetched](const std::string& url) { return fetched.find(url); });

  run->setPreparing(std::move(preparing));
  ShareOutcome outcome;
  if (options.hooks.cancellation && options.hooks.cancellation->isCancelled()) {
    run->giveUp(translated(kCancelled));
    outcome = {.reason = translated(kCancelled), .missing = run->missing(), .busy = run->isBusy()};
  } else {
    outcome = handOver(run, options, [&] {
      ShareViewController controller;
      controller.setExtensionContext(context);
      controller.loadViewIfNeeded();
    });
  }
  if (context->hasText() && run->textFailed()) {
    outcome.missing.push_back(
        {translated("the accompanying text"), translated("there is not enough memory for it")});
  }
  const bool isOpened = outcome.status == ShareOutcome::Status::opened;
  if (context->hasText() && !isOpened) {
    outcome.missing.push_back({translated("the accompanying text"), outcome.reason});
  }
  outcome.empty = isOpened && !outcome.missing.empty() && run->namesDelivered().empty() &&
                  (!context->hasText() || run->textFailed());
  return outcome;
}

}  // namespace korvane
