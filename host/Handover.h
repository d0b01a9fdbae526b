#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/RunWatch.h"
#include "linux/detail/RemoteFiles.h"

namespace korvane {

/// What a caller chooses about one run.
struct ShareOptions {
  /// The container, as a path without "/" at its end: runs on it take turns. Absent: no turns.
  std::optional<std::string> container{};
  /// Fetches a remote file, on a thread of its own.
  std::function<std::string(const std::string& url, const FetchRules& rules, const FetchStop& stop)>
      fetch = fetchRemoteFile;
  /// How long, in seconds, a fetch goes on though nothing comes.
  double longestSilence = 30;
  /// What the person should know while the run goes on, and what a dry run does instead of opening.
  RunHooks hooks{};
};

/// What came of one run.
struct ShareOutcome {
  enum class Status {
    opened,     ///< the mail client took the message, whatever is missing in it
    notOpened,  ///< it did not; `reason` tells why
    refused,    ///< what was asked for cannot be used; nothing was begun
  };
  Status status = Status::notOpened;
  std::string reason{};
  /// The application that was asked to open the message; empty where none was.
  std::string application{};
  /// What was given and is not in the message that the mail client has; where nothing was opened,
  /// everything.
  std::vector<MissingThing> missing{};
  /// The message was opened without any of what was given.
  bool empty = false;
  /// Whether jobs of the run still work, on threads of their own. A process that ends must do so
  /// without destroying what they use: removeUnfinishedAttachments(), then _Exit.
  bool busy = false;
};

/// Runs `work`, which stages things and has the mail client opened, as one run: alone with the
/// staging folder until the mail client has answered, and with `run` watching. Returns when the
/// work and the background job that it may have queued have ended; other jobs are not waited for.
/// The process's services are watchedServices().
ShareOutcome handOver(const std::shared_ptr<RunWatch>& run, const ShareOptions& options,
                      const std::function<void()>& work);

/// Removes what would lie there until the next share, as the process ends: from the staging folder
/// what jobs that still run have begun to put there, half of a large file say, and what this
/// process has fetched.
void removeUnfinishedAttachments();

}  // namespace korvane
