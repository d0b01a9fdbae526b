#include "linux/detail/DateFormatters.h"

#include <time.h>
#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/simpletz.h>
#include <unicode/smpdtfmt.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <mutex>
#include <string>
#include <utility>

namespace korvane {
namespace {

/// The environment's locale for dates, in the form "de_DE@calendar=buddhist".
std::string userLocale() {
  std::string name;
  for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) {
    const char* value = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe): read only
    if (value && *value) {
      name = value;
      break;
    }
  }
  std::string modifier;
  if (const auto at = name.find('@'); at != std::string::npos) {
    modifier = name.substr(at + 1);
    name.resize(at);
  }
  name.resize(std::min(name.find('.'), name.size()));
  if (name.empty() || name == "C" || name == "POSIX") return "en_US_POSIX";
  if (modifier.find('=') != std::string::npos) return name + '@' + modifier;
  // Of the modifiers without a value, those that name a script matter here.
  for (const auto& [word, script] :
       {std::pair{"latin", "_Latn"}, {"cyrillic", "_Cyrl"}, {"devanagari", "_Deva"}}) {
    if (modifier == word) return name.insert(std::min(name.find('_'), name.size()), script);
  }
  return name;
}

/// Seconds that the device's time zone is ahead of UTC at a moment.
int secondsFromGMT(double seconds) {
  if (!(std::abs(seconds) < 1e15)) return 0;  // beyond what the system counts
  const auto moment = static_cast<time_t>(std::floor(seconds));
  tzset();  // notices a changed TZ or /etc/localtime
  struct tm local {};
  return localtime_r(&moment, &local) ? static_cast<int>(local.tm_gmtoff) : 0;
}

class Formatter : public NSDateFormatter {
 public:
  explicit Formatter(NSDateFormat format) : format_(std::move(format)) {}

  std::string stringFromDate(NSDate date) override {
    std::lock_guard lock(mutex_);
    icu::DateFormat* const formatter = current();
    const double seconds = date.timeIntervalSince1970;
    if (!formatter || !std::isfinite(seconds)) return {};
    useOffset(*formatter, format_.secondsFromGMT.value_or(secondsFromGMT(seconds)));
    icu::UnicodeString text;
    formatter->format(seconds * 1000, text);
    std::string result;
    return text.toUTF8String(result);
  }

  std::optional<NSDate> dateFromString(std::string_view text) override {
    std::lock_guard lock(mutex_);
    icu::DateFormat* const formatter = current();
    if (!formatter || text.size() > kMaxText) return std::nullopt;
    useOffset(*formatter, format_.secondsFromGMT.value_or(0));
    const auto characters = icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
    icu::ParsePosition position(0);
    const UDate milliseconds = formatter->parse(characters, position);
    if (position.getErrorIndex() >= 0) return std::nullopt;
    // ICU forgives white space and missing letters at the ends; the same text must come out again.
    icu::UnicodeString written;
    if (formatter->format(milliseconds, written) != characters) return std::nullopt;
    double seconds = milliseconds / 1000;
    if (!format_.secondsFromGMT) {  // read as if in UTC; the zone's offset then is taken off
      seconds -= secondsFromGMT(seconds - secondsFromGMT(seconds));
    }
    return NSDate{seconds};
  }

 private:
  static constexpr std::size_t kMaxText = 1024;

  /// The formatter for the locale of now; nullptr when there can be none.
  icu::DateFormat* current() {
    std::string locale = format_.localeIdentifier.value_or(std::string());
    if (!format_.localeIdentifier) locale = userLocale();
    if (!formatter_ || locale != locale_) {
      formatter_ = make(locale);
      locale_ = std::move(locale);
    }
    return formatter_.get();
  }

  std::unique_ptr<icu::DateFormat> make(const std::string& name) const {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale locale = icu::Locale::createCanonical(name.c_str());
    if (format_.calendarIdentifier) {
      locale.setKeywordValue("calendar", format_.calendarIdentifier->c_str(), status);
    }
    std::unique_ptr<icu::DateFormat> made;
    if (format_.dateFormat.empty()) {
      made.reset(icu::DateFormat::createDateTimeInstance(style(format_.dateStyle),
                                                         style(format_.timeStyle), locale));
    } else {
      made = std::make_unique<icu::SimpleDateFormat>(
          icu::UnicodeString::fromUTF8(format_.dateFormat), locale, status);
    }
    if (!made || U_FAILURE(status)) return nullptr;
    made->setLenient(false);
    return made;
  }

  static icu::DateFormat::EStyle style(NSDateFormatterStyle style) {
    return style == NSDateFormatterStyle::none ? icu::DateFormat::kNone : icu::DateFormat::kShort;
  }

  static void useOffset(icu::DateFormat& formatter, int seconds) {
    formatter.adoptTimeZone(new icu::SimpleTimeZone(seconds * 1000, "device"));
  }

  const NSDateFormat format_;
  std::mutex mutex_;  // a formatter of ICU serves one thread at a time
  std::string locale_;
  std::unique_ptr<icu::DateFormat> formatter_;
};

}  // namespace

std::shared_ptr<NSDateFormatter> DateFormatters::formatter(const NSDateFormat& format) {
  return std::make_shared<Formatter>(format);
}

}  // namespace korvane
