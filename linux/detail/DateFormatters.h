#pragma once

#include <memory>

#include "platform/Export.h"
#include "platform/NSDateFormatter.h"

namespace korvane {

/// Formatters for the user's locale (LC_ALL, else LC_TIME, else LANG) and the device's time zone
/// (TZ, else /etc/localtime), both looked up anew at each use, so that a running program follows
/// the device's settings. The locale need not be installed; "@calendar=buddhist" and the like work.
///
/// A date that no calendar can count gives the empty text. Reading is strict: fields out of their
/// range, missing letters and anything left over give no date. A date that no time zone knows (of
/// the year 100,000,000,000, say) counts as UTC. Any thread may call the maker and its formatters.
class KORVANE_EXPORT DateFormatters : public DateFormatterMaker {
 public:
  std::shared_ptr<NSDateFormatter> formatter(const NSDateFormat& format) override;
};

}  // namespace korvane
