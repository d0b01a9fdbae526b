#include "model/ExtensionDate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "support/TestPlatform.h"

namespace korvane {
namespace {

using testing::TestPlatform;

/// Writes which format it is and the day it was asked for, so that a test sees who was asked.
class NamedFormatter : public NSDateFormatter {
 public:
  explicit NamedFormatter(NSDateFormat format) : format_(std::move(format)) {}
  std::string stringFromDate(NSDate date) override {
    const auto day = static_cast<long long>(date.timeIntervalSince1970) / 86400;
    if (format_.dateFormat == "yyyyMMdd") return std::to_string(20260000 + day % 10000);
    return format_.dateStyle == NSDateFormatterStyle::short_ ? "date" : "time";
  }
  std::optional<NSDate> dateFromString(std::string_view text) override {
    if (text == "good") return NSDate{7};
    return std::nullopt;
  }
  const NSDateFormat format_;
};

class NamedFormatters : public DateFormatterMaker {
 public:
  std::shared_ptr<NSDateFormatter> formatter(const NSDateFormat& format) override {
    made.push_back(format);
    return std::make_shared<NamedFormatter>(format);
  }
  std::vector<NSDateFormat> made;
};

class ExtensionDateTest : public ::testing::Test {
 protected:
  ExtensionDateTest() {
    platform.services.dates = formatters;
    platform.install();
    dates.Initialize();
  }
  TestPlatform platform;
  std::shared_ptr<NamedFormatters> formatters = std::make_shared<NamedFormatters>();
  ExtensionDate dates;
};

TEST_F(ExtensionDateTest, InitializeMakesTheFourFormats) {
  ASSERT_EQ(formatters->made.size(), 4U);
  const auto& [time, date, day, exchange] =
      std::tie(formatters->made[0], formatters->made[1], formatters->made[2], formatters->made[3]);
  EXPECT_EQ(time.timeStyle, NSDateFormatterStyle::short_);
  EXPECT_EQ(time.dateStyle, NSDateFormatterStyle::none);
  EXPECT_EQ(date.dateStyle, NSDateFormatterStyle::short_);
  EXPECT_EQ(date.timeStyle, NSDateFormatterStyle::none);
  EXPECT_EQ(day.dateFormat, "yyyyMMdd");
  for (const auto& users : {time, date, day}) {
    EXPECT_FALSE(users.localeIdentifier || users.calendarIdentifier || users.secondsFromGMT);
  }
  EXPECT_EQ(exchange.dateFormat, "yyyy-MM-dd'T'HH:mm:ss'Z'");
  EXPECT_EQ(exchange.localeIdentifier, "en_US_POSIX");
  EXPECT_EQ(exchange.calendarIdentifier, "gregorian");
  EXPECT_EQ(exchange.secondsFromGMT, 0);
  EXPECT_TRUE(dates.dateCentrale() && dates.dateCentrale2() && dates.dataDay() &&
              dates.dateExchange());
}

TEST_F(ExtensionDateTest, NoDateIsZeroAndEmpty) {
  EXPECT_EQ(dates.IntDate(std::nullopt), 0);
  EXPECT_EQ(dates.centralDate(std::nullopt), "");
}

TEST_F(ExtensionDateTest, DayKeyIsReadInTheDigitsOfAnyScript) {
  class Written : public NSDateFormatter {
   public:
    explicit Written(std::string text) : text_(std::move(text)) {}
    std::string stringFromDate(NSDate) override { return text_; }
    std::optional<NSDate> dateFromString(std::string_view) override { return std::nullopt; }

   private:
    std::string text_;
  };
  for (const char* text : {"20261116", "٢٠٢٦١١١٦", "۲۰۲۶۱۱۱۶", "২০২৬১১১৬", "२०२६१११६", "၂၀၂၆၁၁၁၆",
                           "２０２６１１１６"}) {
    dates.setDataDay(std::make_shared<Written>(text));
    EXPECT_EQ(dates.IntDate(NSDate{1}), 20261116) << text;
  }
}

TEST_F(ExtensionDateTest, TodayIsTheSameDayKeyAndNotTheLastHours) {
  const double noon = 20'000 * 86400.0 + 43200;
  platform.clock = std::make_shared<testing::FakeClock>(NSDate{noon});
  platform.services.clock = platform.clock;
  platform.install();
  EXPECT_EQ(dates.centralDate(NSDate{noon}), "time");
  EXPECT_EQ(dates.centralDate(NSDate{noon - 43200}), "time");
  EXPECT_EQ(dates.centralDate(NSDate{noon - 43201}), "date");
  EXPECT_EQ(dates.centralDate(NSDate{noon + 43199}), "time");
  EXPECT_EQ(dates.centralDate(NSDate{noon + 43200}), "date") << "a later day shows as a date too";
  EXPECT_EQ(dates.centralDate(NSDate{noon - 86400}), "date");
}

TEST_F(ExtensionDateTest, ExchangeDateLogsEveryTextAndNothingForNone) {
  EXPECT_EQ(dates.exchangeDate("good"), NSDate{7});
  EXPECT_EQ(dates.exchangeDate("bad %@"), std::nullopt);
  EXPECT_EQ(dates.exchangeDate(std::nullopt), std::nullopt);
  EXPECT_EQ(dates.exchangeDate(""), std::nullopt);
  EXPECT_EQ(
      platform.log->lines(),
      (std::vector<std::string>{"exchangeDate good", "exchangeDate bad %@", "exchangeDate "}));
}

TEST_F(ExtensionDateTest, WithoutFormattersNothingIsWrittenOrRead) {
  ExtensionDate bare;
  EXPECT_EQ(bare.IntDate(NSDate{1}), 0);
  EXPECT_EQ(bare.centralDate(NSDate{1}), "");
  EXPECT_EQ(bare.exchangeDate("good"), std::nullopt);
}

TEST_F(ExtensionDateTest, SharedIsOneEvenWhenFirstAskedForTogether) {
  std::vector<ExtensionDate*> seen(8);
  std::vector<std::thread> threads;
  for (auto& slot : seen) {
    threads.emplace_back([&slot] { slot = &ExtensionDate::shared(); });
  }
  for (auto& thread : threads) thread.join();
  for (ExtensionDate* one : seen) EXPECT_EQ(one, &ExtensionDate::shared());
  EXPECT_EQ(formatters->made.size(), 8U) << "made once more, for the shared instance alone";
}

}  // namespace
}  // namespace korvane
