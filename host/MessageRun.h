#pragma once

#include <string>
#include <vector>

#include "host/Handover.h"

namespace korvane {

/// A message that another program composed, as it was handed over. Texts are UTF-8.
struct ComposedMessage {
  /// Addresses: "ann@a.example".
  std::vector<std::string> to{};
  std::vector<std::string> cc{};
  std::vector<std::string> bcc{};
  std::string subject{};
  /// Plain text.
  std::string body{};
  /// Absolute paths of files and folders; bytes as the file system has them.
  std::vector<std::string> attachments{};
};

/// Hands a message over to the mail client: takes its turn, empties the staging folder, copies the
/// attachments there and has the message's command URL opened, in the foreground.
///
/// Nobody chose these paths in sight of this program: each is opened at once, without following a
/// link anywhere on its way, and copied from what was opened. What cannot be, and what is not one
/// address, is left out and among the outcome's `missing`. A line break or another control in the
/// subject becomes a blank. Where `options.hooks.cancellation` was used before the opening, nothing
/// is opened. A message without anything in it is opened too.
///
/// The process's services are watchedServices(). Any thread may call; runs on one container take
/// turns.
ShareOutcome runMessage(const ComposedMessage& message, const ShareOptions& options);

}  // namespace korvane
