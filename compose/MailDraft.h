#pragma once

#include <string>
#include <vector>

#include "compose/MessageBody.h"
#include "compose/Recipients.h"
#include "compose/StagedFiles.h"

namespace korvane {

/// A message as it is handed to a mail client: everything in it was made fit for that.
struct MailDraft {
  /// One line.
  std::string subject;
  std::vector<Mailbox> to;
  std::vector<Mailbox> cc;
  std::vector<Mailbox> bcc;
  MessageBody body;
  std::vector<TakenFile> attachments;
};

}  // namespace korvane
