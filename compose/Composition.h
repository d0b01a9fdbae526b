#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "compose/ClientCommand.h"
#include "compose/InstalledClient.h"
#include "compose/LeftOut.h"
#include "compose/MailDraft.h"
#include "compose/MessageFolder.h"
#include "linux/detail/DesktopEntry.h"
#include "platform/NSURL.h"

namespace korvane {

/// Why a message is not composed; what() is a line for people.
class ComposeError : public std::runtime_error {
 public:
  enum class Kind {
    noMailClient,  // none is installed, or not the one that was asked for
    notCompose,    // another command, or not a command URL at all
    failed,        // something here did not work
  };
  ComposeError(Kind kind, const std::string& line) : std::runtime_error(line), kind_(kind) {}
  Kind kind() const { return kind_; }

 private:
  Kind kind_;
};

/// The client that messages go to: the one of the desktop entry's identifier, or the user's own.
/// Throws ComposeError.
InstalledClient mailClientFor(const std::optional<std::string>& id);

/// One message on its way from a command URL into the compose window of a mail client.
class Composition {
 public:
  /// Reads the URL and takes its files over; after that, nothing of the staging folder is needed
  /// any more. Nothing as the URL is an empty message. Throws ComposeError.
  Composition(InstalledClient client, const std::optional<NSURL>& url);

  /// Writes what the client is to read and makes the command that starts it. Throws ComposeError.
  const ClientCommand& prepare();

  /// Starts the client, after prepare(). Throws ComposeError.
  void open(const Activation& activation);

  const InstalledClient& client() const { return client_; }
  /// What does not arrive; complete after open().
  const LeftOutList& leftOut() const { return leftOut_; }
  /// What else people are told: whole lines.
  const std::vector<std::string>& remarks() const { return remarks_; }

 private:
  InstalledClient client_;
  MessageFolder folder_;
  MailDraft draft_;
  LeftOutList leftOut_;
  std::vector<std::string> remarks_;
  ClientCommand command_;
};

}  // namespace korvane
