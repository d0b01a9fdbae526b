#pragma once

namespace korvane {

/// The entry point of korvane-purpose, the program behind the entry in KDE's Share menu: connects
/// to the socket that "--server" names, reads one message from it (PurposeMessage.h), runs the
/// share and writes lines about its progress and, last, that it is done or why it is not. What is
/// missing in a message that was handed over is told there too, as a failure, since the menu shows
/// nothing else. Gives the exit status: 0 where the answer was written.
///
/// Main thread, once; ends the process itself where jobs of the share still run.
int PurposeMain(int argc, char* argv[]);

}  // namespace korvane
