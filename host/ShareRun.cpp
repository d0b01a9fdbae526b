#include "host/ShareRun.h"

#include <memory>
#include <utility>

#include "host/FetchedFiles.h"
#include "host/ShareContext.h"
#include "platform/detail/Translation.h"
#include "share/ShareViewController.h"

namespace korvane {

ShareOutcome runShare(ShareRequest request, const ShareOptions& options) {
  const auto run = std::make_shared<RunWatch>(options.hooks);
  const FetchedFiles fetched(request, options, run);
  const auto context = std::make_shared<ShareContext>(
      std::move(request), run, [&fetched](const std::string& url) { return fetched.find(url); });

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
