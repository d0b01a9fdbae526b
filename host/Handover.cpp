#include "host/Handover.h"

#include <utility>

#include "extension/ConstVars.h"
#include "extension/ExtensionUtilities.h"
#include "linux/detail/ShareTurn.h"
#include "linux/detail/UnfinishedNames.h"
#include "platform/NSFileManager.h"

namespace korvane {

ShareOutcome handOver(const std::shared_ptr<RunWatch>& run, const ShareOptions& options,
                      const std::function<void()>& work) {
  const ShareTurn turn(options.container);
  {
    const RunScope scope(run);
    work();
  }
  run->waitForBackground();

  ShareOutcome outcome;
  outcome.missing = run->missing();
  const auto launch = run->launch();
  if (launch) outcome.application = launch->application;
  if (launch && launch->accepted) {
    outcome.status = ShareOutcome::Status::opened;
  } else {
    outcome.reason = run->failure();
    if (outcome.reason.empty()) {
      outcome.reason = launch ? "the application could not be opened"
                              : "no address could be made of the message";
    }
    for (std::string& name : run->namesDelivered()) {
      outcome.missing.push_back({std::move(name), outcome.reason});
    }
  }
  outcome.busy = run->isBusy();
  return outcome;
}

void removeUnfinishedAttachments() {
  const auto data = ExtensionUtilities::GroupDataPath();
  if (!data) return;
  const NSURL staging = data->URLByAppendingPathComponent(kShareService);
  const auto files = NSFileManager::defaultManager();
  for (const std::string& name :
       files->contentsOfDirectoryAtPath(staging.fileSystemRepresentation())) {
    if (!isUnfinishedName(name)) continue;
    std::optional<NSError> ignored;  // its load may have been quicker
    files->removeItemAtURL(staging.URLByAppendingPathComponent(name), ignored);
  }
}

}  // namespace korvane
