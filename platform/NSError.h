#pragma once

#include <optional>
#include <string>

#include "platform/Export.h"

namespace korvane {

inline constexpr const char* NSCocoaErrorDomain = "NSCocoaErrorDomain";
/// Errors whose code is an errno value.
inline constexpr const char* NSPOSIXErrorDomain = "NSPOSIXErrorDomain";

/// NSCocoaErrorDomain's code for a cancel by the user.
inline constexpr long NSUserCancelledError = 3072;

/// A failure that is reported rather than raised. An absent NSError means success.
struct KORVANE_EXPORT NSError {
  std::string domain;
  long code = 0;
  /// What went wrong, for people, in UTF-8; may be empty.
  std::string localizedDescription;

  /// The text that a log line shows, such as
  /// `Error Domain=NSPOSIXErrorDomain Code=2 "No such file or directory"`.
  std::string description() const;

  /// The error of an errno value; `subject` (a path, say) goes before the system's text.
  static NSError withErrno(int errnoValue, const std::string& subject = {});

  friend bool operator==(const NSError&, const NSError&) = default;
};

}  // namespace korvane
