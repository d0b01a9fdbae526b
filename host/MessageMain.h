#pragma once

namespace korvane {

/// The entry point of korvane-message: shows the message that a command URL carries. Gives the exit
/// status. Main thread, once.
int MessageMain(int argc, char* argv[]);

}  // namespace korvane
