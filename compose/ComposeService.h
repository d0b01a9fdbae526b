#pragma once

#include <optional>
#include <string>

namespace korvane {

/// Answers on the session bus in the place of the mail client with this identifier
/// (org.freedesktop.Application), until nothing was asked for ten seconds. `client` is the desktop
/// entry of the mail program that gets the messages; the user's own where it is absent. Gives the
/// program's exit status: 1 where there is no bus or the name is another program's. On the main
/// thread.
///
/// Open is answered when the files of the message are taken over, before its compose window is
/// there; with an error, and nothing opened, where there is no mail client, where a URL is not a
/// message and where nothing can be written. Several URLs are several messages. Activate composes
/// an empty one. Calls are worked on side by side.
int runComposeService(const std::string& identifier, const std::optional<std::string>& client);

}  // namespace korvane
