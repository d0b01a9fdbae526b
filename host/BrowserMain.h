#pragma once

namespace korvane {

/// The entry point of korvane-browser, the program behind the browsers' extension: reads one
/// message from standard input (BrowserMessage.h), runs the share and writes the outcome as one
/// answer to standard output. Gives the exit status: 0 where the answer was written. The answer is
/// that of outcomeJSON(), at most kMaxBrowserAnswer long: things missing at the end of a longer one
/// are left out. The arguments, which name the extension, are not used: the browser lets only the
/// extension that the installed manifest names start this.
///
/// Main thread, once; ends the process itself where jobs of the share still run.
int BrowserMain(int argc, char* argv[]);

}  // namespace korvane
