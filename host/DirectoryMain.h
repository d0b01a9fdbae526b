#pragma once

namespace korvane {

/// The entry point of korvane-directory: lists the mail client's accounts or contacts. Gives the
/// exit status. Main thread, once.
int DirectoryMain(int argc, char* argv[]);

}  // namespace korvane
