#include "host/Handover.h"

#include <chrono>
#include <utility>

#include "extension/ConstVars.h"
#include "extension/ExtensionUtilities.h"
#include "linux/detail/FetchFolder.h"
#include "linux/detail/FileTree.h"
#include "linux/detail/ShareTurn.h"
#include "linux/detail/TakenAside.h"
#include "linux/detail/UnfinishedNames.h"
#include "linux/detail/Workspace.h"
#include "platform/NSFileCoordinator.h"
#include "platform/NSFileManager.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

/// Absent without a container.
std::optional<NSURL> stagingFolder() {
  const auto data = ExtensionUtilities::GroupDataPath();
  if (!data) return std::nullopt;
  return data->URLByAppendingPathComponent(kShareService);
}

std::string pathOf(const std::optional<NSURL>& url) {
  std::string path = url ? url->fileSystemRepresentation() : "";
  while (path.ends_with('/')) path.pop_back();
  return path;
}

/// Moves what is to be shared and lies in the staging folder out of it.
void takeAside(const std::shared_ptr<RunWatch>& run, const NSURL& staging) {
  if (run->files().empty()) return;
  // Loads that outlast the run may still ask where their file lies.
  const auto aside = std::make_shared<TakenAside>(pathOf(staging));
  std::optional<NSError> ignored;  // the emptying, which comes next, tells
  NSFileCoordinator::coordinator()->coordinateWritingItemAtURL(
      staging, NSFileCoordinatorWritingOptions::forDeleting, ignored,
      [&](const NSURL&) { aside->take(run->files()); });
  run->setPlaces([aside](const std::string& path) { return aside->placeOf(path); });
}

}  // namespace

ShareOutcome handOver(const std::shared_ptr<RunWatch>& run, const ShareOptions& options,
                      const std::function<void()>& work) {
  const auto staging = stagingFolder();
  const auto& cancellation = options.hooks.cancellation;
  const auto giveUp = [&](const std::string& reason) {
    run->giveUp(reason);
    return ShareOutcome{.reason = reason, .missing = run->missing(), .busy = run->isBusy()};
  };
  const auto tellWaiting = [&](const std::string& line) {
    if (options.hooks.progress) options.hooks.progress(line, -1);
    if (options.hooks.tell) options.hooks.tell(line);
  };
  ShareTurn turn(options.container, pathOf(staging), tellWaiting, [&] {
    const bool isCancelled = cancellation && cancellation->isCancelled();
    return isCancelled ? std::optional(translated(kCancelled)) : std::nullopt;
  });
  if (turn.refusal()) return giveUp(*turn.refusal());
  run->tellProgress();
  if (cancellation) cancellation->onCancel([run] { run->cancel(); });
  run->setOpeningHooks({[&] { return turn.noteHandOver(); },
                        [&](bool accepted, std::string_view failure) {
                          // A client that has not answered yet may still come for the files.
                          if (accepted || failure == translated(kNotAnsweredYet)) {
                            turn.noteHandOver();
                          } else {
                            turn.forgetHandOver();
                          }
                        }});
  if (turn.isOurs() && staging) takeAside(run, *staging);
  {
    const RunScope scope(run);
    work();
  }
  run->waitForBackground();
  if (cancellation) {
    cancellation->onCancel({});
    if (cancellation->isCancelled()) return giveUp(translated(kCancelled));
  }

  ShareOutcome outcome;
  outcome.missing = run->missing();
  const auto launch = run->launch();
  if (launch) outcome.application = launch->application;
  if (launch && launch->accepted) {
    outcome.status = ShareOutcome::Status::opened;
  } else {
    outcome.reason = run->failure();
    if (outcome.reason.empty()) {
      outcome.reason = launch ? translated("the application could not be opened")
                              : translated("no address could be made of the message");
    }
    for (std::string& name : run->namesDelivered()) {
      outcome.missing.push_back({std::move(name), outcome.reason});
    }
  }
  outcome.busy = run->isBusy();
  return outcome;
}

void removeUnfinishedAttachments() {
  FetchFolder::removeAll();
  const auto staging = stagingFolder();
  if (!staging) return;
  const auto files = NSFileManager::defaultManager();
  for (const std::string& name :
       files->contentsOfDirectoryAtPath(staging->fileSystemRepresentation())) {
    if (!isUnfinishedName(name)) continue;
    std::optional<NSError> ignored;  // its load may have been quicker
    files->removeItemAtURL(staging->URLByAppendingPathComponent(name), ignored);
  }
  // The files of the message before this one may be on their way out.
  constexpr std::chrono::seconds kLongestRemoval{2};
  awaitRemovals(kLongestRemoval);
}

}  // namespace korvane
