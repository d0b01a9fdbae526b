#pragma once

namespace korvane {

/// The entry point of korvane-view: draws a sample view to a PNG file and has `showWindow`, which
/// may be null, show it. Gives the exit status. Main thread, once.
int ViewMain(int argc, char* argv[], void (*showWindow)());

}  // namespace korvane
