#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/NSDate.h"

namespace korvane {

enum class NSDateFormatterStyle : int { none = 0, short_ = 1 };

/// How a formatter writes and reads dates.
struct KORVANE_EXPORT NSDateFormat {
  /// A pattern of Unicode TR 35 such as "yyyyMMdd"; empty where the styles decide.
  std::string dateFormat = {};
  NSDateFormatterStyle dateStyle = NSDateFormatterStyle::none;
  NSDateFormatterStyle timeStyle = NSDateFormatterStyle::none;
  /// "en_US_POSIX", say; absent: the user's locale.
  std::optional<std::string> localeIdentifier = {};
  /// Absent: the device's time zone at the moment of each use.
  std::optional<int> secondsFromGMT = {};
  /// "gregorian", say; absent: the user's calendar.
  std::optional<std::string> calendarIdentifier = {};
};

/// Writes and reads dates in one format. Any thread may call.
class KORVANE_EXPORT NSDateFormatter {
 public:
  virtual ~NSDateFormatter() = default;
  /// The date as text; empty where no calendar can count it.
  virtual std::string stringFromDate(NSDate date) = 0;
  /// The date of a text that is in the format from its first to its last character; else nothing.
  virtual std::optional<NSDate> dateFromString(std::string_view text) = 0;
};

/// Makes formatters; a service of the Platform. Any thread may call.
class KORVANE_EXPORT DateFormatterMaker {
 public:
  virtual ~DateFormatterMaker() = default;
  /// The installed Platform's.
  static std::shared_ptr<DateFormatterMaker> installed();
  /// Never null.
  virtual std::shared_ptr<NSDateFormatter> formatter(const NSDateFormat& format) = 0;
};

}  // namespace korvane
