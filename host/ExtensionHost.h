#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/ShareContext.h"
#include "platform/Platform.h"

namespace korvane {

/// What a workspace was asked to open.
struct Opening {
  std::vector<NSURL> urls;
  std::string application;
  unsigned options = 0;
  bool accepted = false;
};

/// What came of a share.
struct ShareOutcome {
  /// Absent when nothing was asked to be opened.
  std::optional<Opening> opening;
  /// Attachments given, and those of them that were not in the message when it was opened.
  std::size_t attachments = 0;
  std::size_t missing = 0;
  /// Things were given, and none of them was in the message.
  bool empty = false;
  /// Whether load handlers still run, on threads of their own: the process must end without
  /// destroying what they use.
  bool busy = false;
};

enum class HostMode {
  open,    ///< the desktop opens the application
  dryRun,  ///< the opening is remembered and counts as accepted
};

/// Runs the share extension on a context, as an extension host does: installs `services`, creates
/// the principal controller with the context, asks it for its view on this thread, and returns when
/// the extension's background job has ended. Loads that outlast the job are not waited for.
ShareOutcome runShareExtension(const std::shared_ptr<ShareContext>& context, Platform services,
                               HostMode mode);

/// Removes from the staging folder what loads that still run have begun to put there, half of a
/// large file say, which would lie there until the next share. For a process that is about to end
/// without them (ShareOutcome::busy); they fail if they come to their end first.
void removeUnfinishedAttachments();

/// Attachments that a command URL carries.
std::size_t attachmentCountOfCommand(const NSURL& url);

}  // namespace korvane
