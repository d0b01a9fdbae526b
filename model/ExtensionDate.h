#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Export.h"
#include "platform/NSDate.h"
#include "platform/NSDateFormatter.h"
#include "platform/Property.h"

namespace korvane {

/// The date formats that the message model needs: a day key, the short text that a message list
/// shows, and the format in which the mail client exchanges dates.
class KORVANE_EXPORT ExtensionDate {
 public:
  using Formatter = std::shared_ptr<NSDateFormatter>;

  /// The process's one instance, made and initialised by the first call, with the Platform that is
  /// installed then. Any thread may call.
  static ExtensionDate& shared();

  /// An instance without formatters; Initialize() makes them.
  ExtensionDate() = default;
  ExtensionDate(const ExtensionDate&) = delete;
  ExtensionDate& operator=(const ExtensionDate&) = delete;

  /// Makes the four formatters through the installed Platform. An operation whose formatter is
  /// absent gives what it gives for no date. The formatters' accessors are indivisible.
  void Initialize();

  /// "yyyy-MM-dd'T'HH:mm:ss'Z'", UTC, whatever the user's locale and calendar.
  Formatter dateExchange() const { return dateExchange_.get(); }
  void setDateExchange(Formatter formatter) { dateExchange_.set(std::move(formatter)); }
  /// "yyyyMMdd" in the user's locale, calendar and time zone.
  Formatter dataDay() const { return dataDay_.get(); }
  void setDataDay(Formatter formatter) { dataDay_.set(std::move(formatter)); }
  /// The short time of day.
  Formatter dateCentrale() const { return dateCentrale_.get(); }
  void setDateCentrale(Formatter formatter) { dateCentrale_.set(std::move(formatter)); }
  /// The short date.
  Formatter dateCentrale2() const { return dateCentrale2_.get(); }
  void setDateCentrale2(Formatter formatter) { dateCentrale2_.set(std::move(formatter)); }

  /// The date's calendar day in the device's time zone as the number yyyyMMdd, 20261116 say, by the
  /// user's own calendar, whatever digits the user's locale writes. 0 for no date and for one that
  /// no calendar can count. For comparing days. Any thread may call.
  std::int64_t IntDate(std::optional<NSDate> date) const;

  /// What a message list shows: the short time for a date of today, else the short date; "" for no
  /// date and for one that no calendar can count. Today is where the day keys of the date and of
  /// the current moment are the same. Any thread may call.
  std::string centralDate(std::optional<NSDate> date) const;

  /// The date of a text in the exchange format; nothing for any other text. Logs the line
  /// "exchangeDate …" with every text, but nothing when there is none. Any thread may call; one at
  /// a time does its work.
  std::optional<NSDate> exchangeDate(std::optional<std::string_view> text);

 private:
  Property<Formatter> dateExchange_;
  Property<Formatter> dataDay_;
  Property<Formatter> dateCentrale_;
  Property<Formatter> dateCentrale2_;
  std::recursive_mutex mutex_;
};

}  // namespace korvane
