#pragma once

namespace korvane {

/// The whole of the program korvane-compose; gives its exit status: 0 for a message that was handed
/// over, 1 for one that was not, 2 for wrong usage and for what is not a message.
int ComposeMain(int argc, char* argv[]);

}  // namespace korvane
