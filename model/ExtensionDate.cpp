#include "model/ExtensionDate.h"

#include "platform/NSLog.h"
#include "platform/NSString.h"

namespace korvane {

ExtensionDate& ExtensionDate::shared() {
  // Never destroyed: a late thread may still ask for a date while the process ends.
  static auto* const instance = [] {
    auto* made = new ExtensionDate;
    made->Initialize();
    return made;
  }();
  return *instance;
}

void ExtensionDate::Initialize() {
  const auto maker = DateFormatterMaker::installed();
  dateCentrale_.set(maker->formatter({.timeStyle = NSDateFormatterStyle::short_}));
  dateCentrale2_.set(maker->formatter({.dateStyle = NSDateFormatterStyle::short_}));
  dataDay_.set(maker->formatter({.dateFormat = "yyyyMMdd"}));
  dateExchange_.set(maker->formatter({.dateFormat = "yyyy-MM-dd'T'HH:mm:ss'Z'",
                                      .localeIdentifier = "en_US_POSIX",
                                      .secondsFromGMT = 0,
                                      .calendarIdentifier = "gregorian"}));
}

std::int64_t ExtensionDate::IntDate(std::optional<NSDate> date) const {
  const Formatter formatter = dataDay();
  if (!date || !formatter) return 0;
  return integerValue(stringByReplacingDecimalDigits(formatter->stringFromDate(*date)));
}

std::string ExtensionDate::centralDate(std::optional<NSDate> date) const {
  if (!date) return {};
  const bool today = IntDate(date) == IntDate(NSDate::date());
  const Formatter formatter = today ? dateCentrale() : dateCentrale2();
  return formatter ? formatter->stringFromDate(*date) : std::string();
}

std::optional<NSDate> ExtensionDate::exchangeDate(std::optional<std::string_view> text) {
  if (!text) return std::nullopt;
  std::lock_guard lock(mutex_);
  NSLog("exchangeDate %@", *text);
  const Formatter formatter = dateExchange();
  return formatter ? formatter->dateFromString(*text) : std::nullopt;
}

}  // namespace korvane
