#pragma once

namespace korvane {

/// The entry point of korvane-receiver, which stands in for the mail client: owns its name on the
/// session bus, or is run by its desktop entry, and writes down what it was asked to open. Gives
/// the exit status. Main thread, once.
int ReceiverMain(int argc, char* argv[]);

}  // namespace korvane
