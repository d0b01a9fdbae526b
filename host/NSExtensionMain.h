#pragma once

namespace korvane {

/// The entry point of korvane-share, to which its main hands over at once: runs the share extension
/// on what the arguments name. Gives the exit status: 0 handed over, 1 not handed over, 2 wrong
/// usage or an unreadable request; each failure has its line on standard error. Main thread, once.
///
/// Ends the process itself, with the same status, when load handlers still run by then: they hold
/// on to what an orderly end would destroy.
int NSExtensionMain(int argc, char* argv[]);

}  // namespace korvane
