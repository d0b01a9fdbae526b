#pragma once

#include <optional>
#include <string>
#include <vector>

#include "compose/InstalledClient.h"
#include "compose/LeftOut.h"
#include "compose/MailDraft.h"
#include "compose/MessageFolder.h"

namespace korvane {

/// How a mail client is started with a message.
struct ClientCommand {
  /// The program and its arguments.
  std::vector<std::string> arguments;
  /// The file that carries the message, where one does.
  std::optional<std::string> message;
  /// The attachments cannot be handed over; a file manager is to show them.
  bool showFiles = false;
};

/// Writes the files that the client is to read into the message's folder, and makes the command.
/// Nothing of the message becomes an option of the client's or a second attachment: attachments are
/// the files of `draft` and no others. What the client does not take is left out. Throws
/// FileFailure where a file cannot be written, and std::runtime_error with a line for people where
/// the client cannot be run at all. Any thread may call.
ClientCommand commandFor(const InstalledClient& client, const MailDraft& draft,
                         const MessageFolder& folder, LeftOutList& leftOut);

}  // namespace korvane
