#include "platform/NSLog.h"

namespace korvane {

void NSLogLine(std::string_view line) { LogSink::installed()->write(line); }

}  // namespace korvane
