#include "linux/detail/DateFormatters.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <thread>
#include <vector>

#include "model/ExtensionDate.h"
#include "support/TestPlatform.h"

namespace korvane {
namespace {

constexpr NSDate kNoon{1479299400};  // 2016-11-16 12:30:00 UTC

/// Sets the environment's locale and time zone, and puts back what was there.
class Environment {
 public:
  Environment(const char* locale, const char* zone) {
    for (const char* variable : {"LC_ALL", "LC_TIME", "LANG", "TZ"}) keep(variable);
    unsetenv("LC_ALL");
    unsetenv("LANG");
    setenv("LC_TIME", locale, 1);
    setenv("TZ", zone, 1);
  }
  ~Environment() {
    for (const auto& [variable, value] : before_) {
      if (value) {
        setenv(variable, value->c_str(), 1);
      } else {
        unsetenv(variable);
      }
    }
  }

 private:
  void keep(const char* variable) {
    const char* value = getenv(variable);
    before_.emplace_back(variable, value ? std::optional<std::string>(value) : std::nullopt);
  }
  std::vector<std::pair<const char*, std::optional<std::string>>> before_;
};

class DateFormattersTest : public ::testing::Test {
 protected:
  DateFormattersTest() {
    platform.services.dates = std::make_shared<DateFormatters>();
    platform.install();
    dates.Initialize();
  }
  testing::TestPlatform platform;
  ExtensionDate dates;
};

TEST_F(DateFormattersTest, DayKeyIsRightForEveryLocalesDigitsAndCalendars) {
  struct Case {
    const char* locale;
    std::int64_t expected;
  };
  const Case cases[] = {
      {"C", 20161116},
      {"POSIX", 20161116},
      {"en_US.UTF-8", 20161116},
      {"de_DE@euro", 20161116},
      {"ar_EG.UTF-8", 20161116},
      {"bn_BD", 20161116},
      {"mr_IN.UTF-8", 20161116},
      {"my_MM", 20161116},
      {"sr_RS@latin", 20161116},
      {"en_US@numbers=kawi", 20161116},
      {"en_US@numbers=nagm", 20161116},
      // By the user's own calendar: the years of the Buddhist and the Persian era.
      {"th_TH.UTF-8", 25591116},
      {"en_US@calendar=buddhist", 25591116},
      {"fa_IR", 13950826},
      {"he_IL@calendar=gregorian", 20161116},
  };
  for (const Case& c : cases) {
    const Environment environment(c.locale, "UTC");
    EXPECT_EQ(dates.IntDate(kNoon), c.expected) << c.locale;
  }
}

TEST_F(DateFormattersTest, DayKeyFollowsTheDevicesTimeZoneAtEachUse) {
  const NSDate evening{1479299400 + 11 * 3600};  // 23:30 UTC
  struct Case {
    const char* zone;
    std::int64_t expected;
  };
  for (const Case& c :
       {Case{"UTC", 20161116}, Case{"Europe/Rome", 20161117}, Case{"America/New_York", 20161116},
        Case{"CET-1CEST", 20161117}, Case{"XYZ+12", 20161116}, Case{":Asia/Tokyo", 20161117}}) {
    const Environment environment("C", c.zone);
    EXPECT_EQ(dates.IntDate(evening), c.expected) << c.zone;
  }
  const Environment environment("C", "Europe/Rome");
  EXPECT_EQ(dates.IntDate(NSDate{1577833200}), 20200101);  // 2020-01-01 00:00 in Rome
  EXPECT_EQ(dates.IntDate(NSDate{1577833199}), 20191231);
  EXPECT_EQ(dates.IntDate(NSDate{1593554399}), 20200630);  // 23:59:59, summer time
}

TEST_F(DateFormattersTest, ExchangeFormatIsTheSameForEveryUser) {
  for (const char* locale :
       {"C", "ar_EG.UTF-8", "th_TH.UTF-8", "fa_IR", "ja_JP@calendar=japanese"}) {
    const Environment environment(locale, "America/New_York");
    ExtensionDate fresh;
    fresh.Initialize();
    EXPECT_EQ(fresh.exchangeDate("2016-11-16T12:30:00Z"), kNoon) << locale;
    EXPECT_EQ(fresh.dateExchange()->stringFromDate(kNoon), "2016-11-16T12:30:00Z") << locale;
  }
}

TEST_F(DateFormattersTest, ExchangeFormatIsStrict) {
  for (const char* text : {"2016-11-16 12:30:00",
                           "2016-11-16T12:30:00",
                           "2016-11-16T12:30:00Z ",
                           "x",
                           "",
                           " 2016-11-16T12:30:00Z",
                           "2016-11-16T12:30:00z",
                           "2016-13-16T12:30:00Z",
                           "2016-11-31T12:30:00Z",
                           "2016-11-16T24:30:00Z",
                           "2016-11-16T12:60:00Z",
                           "2016-11-16T12:30:00+01:00",
                           "2016-11-16T12:30:00ZZ",
                           "٢٠١٦-١١-١٦T12:30",
                           "٢٠١٦-11-16T12:30:00Z",
                           "2015-02-29T00:00:00Z",
                           "1900-02-29T00:00:00Z",
                           "2016-02-30T00:00:00Z",
                           "2016-00-10T00:00:00Z",
                           "2016-11-00T00:00:00Z",
                           "2016-11-16T24:00:00Z",
                           "2016-12-31T23:59:60Z",
                           "2016-11-16t12:30:00Z",
                           "2016-11-16T12:30:00.5Z",
                           "2016-11-16T12:30:00 Z",
                           "2016-11-16T12:30: 0Z",
                           "16-11-16T12:30:00Z",
                           "2016-1-6T2:3:0Z",
                           "02016-11-16T12:30:00Z",
                           "-2016-11-16T12:30:00Z",
                           "2016-Nov-16T12:30:00Z",
                           "2016-11-16T12:30:00\u200BZ",
                           "\xFF\xFE"}) {
    EXPECT_EQ(dates.exchangeDate(text), std::nullopt) << text;
  }
  EXPECT_EQ(dates.exchangeDate(std::string(1'000'000, '2')), std::nullopt);
  EXPECT_EQ(dates.exchangeDate(std::string("2016-11-16T12:30:00Z\0", 21)), std::nullopt);
  EXPECT_EQ(dates.exchangeDate("2000-02-29T00:00:00Z"), NSDate{951782400});
  EXPECT_EQ(dates.exchangeDate("10000-01-01T00:00:00Z"), NSDate{253402300800});
  EXPECT_EQ(dates.exchangeDate("1970-01-01T00:00:00Z"), NSDate{0});
  EXPECT_EQ(dates.exchangeDate("1969-12-31T23:59:59Z"), NSDate{-1});
}

TEST_F(DateFormattersTest, CentralDateIsTheUsersShortTimeOrDate) {
  struct Case {
    const char* locale;
    const char* time;
    const char* date;
  };
  for (const Case& c : {Case{"de_DE.UTF-8", "12:30", "15.11.16"},
                        Case{"en_GB", "12:30", "15/11/2016"}, Case{"it_IT", "12:30", "15/11/16"}}) {
    const Environment environment(c.locale, "UTC");
    platform.services.clock = std::make_shared<testing::FakeClock>(kNoon);
    platform.install();
    EXPECT_EQ(dates.centralDate(kNoon), c.time) << c.locale;
    EXPECT_EQ(dates.centralDate(NSDate{kNoon.timeIntervalSince1970 - 86400}), c.date) << c.locale;
  }
}

// On the days on which the clock changes too, which have 23 and 25 hours.
TEST_F(DateFormattersTest, CentralDateAroundMidnight) {
  const Environment environment("de_DE.UTF-8", "Europe/Rome");
  struct Case {
    double midnight;
    int hours;
    const char* before;
    const char* after;
  };
  for (const Case& c :
       {Case{1479250800, 24, "15.11.16", "17.11.16"}, Case{1743289200, 23, "29.03.25", "31.03.25"},
        Case{1761429600, 25, "25.10.25", "27.10.25"}}) {
    SCOPED_TRACE(c.before);
    const double end = c.midnight + c.hours * 3600;
    for (const double now : {c.midnight, c.midnight + 40000, end - 1}) {
      platform.services.clock = std::make_shared<testing::FakeClock>(NSDate{now});
      platform.install();
      EXPECT_EQ(dates.centralDate(NSDate{c.midnight - 0.001}), c.before);
      EXPECT_EQ(dates.centralDate(NSDate{c.midnight}), "00:00");
      EXPECT_EQ(dates.centralDate(NSDate{c.midnight + 60}), "00:01");
      EXPECT_EQ(dates.centralDate(NSDate{end - 0.001}), "23:59");
      EXPECT_EQ(dates.centralDate(NSDate{end}), c.after);
    }
  }
}

TEST_F(DateFormattersTest, StrangeDatesDoNoHarm) {
  const Environment environment("C", "Europe/Rome");
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double seconds : {std::nan(""), infinity, -infinity}) {
    EXPECT_EQ(dates.IntDate(NSDate{seconds}), 0);
    EXPECT_EQ(dates.centralDate(NSDate{seconds}), "");
  }
  for (const double seconds : {1e300, -1e300, 1e18, -1e18, 9.3e15}) {
    dates.IntDate(NSDate{seconds});
    dates.centralDate(NSDate{seconds});
  }
}

TEST_F(DateFormattersTest, RoundTripInTheDevicesZone) {
  const Environment environment("C", "Europe/Rome");
  const auto formatter = DateFormatters().formatter({.dateFormat = "yyyy-MM-dd HH:mm:ss"});
  for (double seconds = 1.4e9; seconds < 1.6e9; seconds += 1'234'567) {
    // Once a year an hour of the clock comes twice; these moments are not in it.
    EXPECT_EQ(formatter->dateFromString(formatter->stringFromDate({seconds})), NSDate{seconds});
  }
}

TEST_F(DateFormattersTest, OneFormatterServesManyThreads) {
  const Environment environment("de_DE", "Europe/Rome");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([this] {
      for (int i = 0; i < 200; ++i) EXPECT_EQ(dates.IntDate(kNoon), 20161116);
    });
  }
  for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace korvane
