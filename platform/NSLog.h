#pragma once

#include <memory>
#include <string_view>

#include "platform/Export.h"
#include "platform/NSFormat.h"

namespace korvane {

/// The first text of a log line that tells of an error.
inline constexpr const char* kErrorMark = "***ERROR***";

/// Where log lines go; a service of the Platform. Any thread may call; must not throw.
class KORVANE_EXPORT LogSink {
 public:
  virtual ~LogSink() = default;
  /// The installed Platform's.
  static std::shared_ptr<LogSink> installed();
  /// Takes one line of UTF-8, without a line break at its end.
  virtual void write(std::string_view line) noexcept = 0;
};

/// Writes one line to the system log, through the installed Platform.
KORVANE_EXPORT void NSLogLine(std::string_view line);

/// Fills the format as stringWithFormat does and logs the result.
template <class... Arguments>
void NSLog(std::string_view format, const Arguments&... arguments) {
  NSLogLine(stringWithFormat(format, arguments...));
}

}  // namespace korvane
