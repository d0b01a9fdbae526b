#include "platform/NSLog.h"

#include "platform/Platform.h"

namespace korvane {

void NSLogLine(std::string_view line) { Platform::current()->log->write(line); }

}  // namespace korvane
