#pragma once

namespace korvane {

/// Answers on the session bus as a backend of xdg-desktop-portal for mails
/// (org.freedesktop.impl.portal.Email), until the bus ends. Gives the program's exit status: 1
/// where there is no bus or the name is another program's. On the main thread; the process's
/// services are watchedServices().
///
/// ComposeEmail is answered when the mail client has answered: with 0 where it took the message,
/// whatever is missing in it, with 1 where the caller closed its request before, else with 2. What
/// is missing, and why nothing was opened, the person is told in a notification. Calls are worked
/// on side by side, a few at a time; what is beyond them is answered with 2 at once.
int runPortalService();

}  // namespace korvane
