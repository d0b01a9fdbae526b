#pragma once

namespace korvane {

/// The entry point of korvane-portal: answers on the session bus for xdg-desktop-portal
/// (PortalService.h), or with "--enable" and "--disable" has that ask this program or not
/// (PortalSetting.h). Gives the exit status.
///
/// Main thread, once.
int PortalMain(int argc, char* argv[]);

}  // namespace korvane
