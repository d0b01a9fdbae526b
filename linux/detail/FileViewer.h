#pragma once

#include <string>

#include "linux/detail/DesktopEntry.h"
#include "platform/Export.h"

namespace korvane {

/// Shows a file or folder (an absolute path) in the folder that holds it, selected, with the
/// desktop's file manager, which the activation lets come to the front; where none can
/// select, the folder alone. False where no file manager could be asked. Waits for ten seconds at
/// most. Any thread may call.
KORVANE_EXPORT bool showInFileManager(const std::string& path, const Activation& activation);

}  // namespace korvane
