#pragma once

#include <mutex>
#include <string>

#include "platform/Export.h"
#include "platform/NSLog.h"

namespace korvane {

/// What a system log does beside logging.
struct KORVANE_EXPORT SystemLogOptions {
  /// Write to standard error too, also when that is not a terminal.
  bool standardError = false;
};

/// The log on a Linux desktop: syslog, in the user facility, and standard error where that is a
/// terminal or it is asked for. Any thread may call.
///
/// One call is one line, whatever it holds: see printableText. The system log gets the first 8,000
/// bytes of a line.
class KORVANE_EXPORT SystemLog : public LogSink {
 public:
  explicit SystemLog(SystemLogOptions options = {});
  void write(std::string_view line) noexcept override;

 private:
  std::mutex mutex_;
  bool toStandardError_;
};

}  // namespace korvane
