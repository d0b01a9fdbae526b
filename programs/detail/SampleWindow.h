#pragma once

namespace korvane {

/// Shows the sample view in a window and returns when it is closed; where there is no display, says
/// so.
void showSampleWindow();

}  // namespace korvane
