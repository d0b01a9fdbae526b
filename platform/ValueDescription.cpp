// The text forms of values that "%@" shows.
#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "platform/NSImage.h"
#include "platform/NSURL.h"
#include "platform/Value.h"

namespace korvane {
namespace {

std::string describeNumber(double number) {
  std::array<char, 64> buffer{};
  const auto [end, failure] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number);
  return {buffer.data(), end};
}

std::string describeDate(NSDate date) {
  namespace chrono = std::chrono;
  const double whole = std::floor(date.timeIntervalSince1970);
  constexpr double kLatest = 9.7e11;  // in the year 32707; the calendar below ends in 32767
  if (!(std::abs(whole) < kLatest)) return describeNumber(date.timeIntervalSince1970) + " s";
  const chrono::sys_seconds seconds{chrono::seconds(static_cast<std::int64_t>(whole))};
  const auto day = chrono::floor<chrono::days>(seconds);
  const chrono::year_month_day ymd(day);
  const chrono::hh_mm_ss time(seconds - day);
  std::array<char, 64> buffer{};
  const int size = std::snprintf(
      buffer.data(), buffer.size(), "%04d-%02u-%02u %02d:%02d:%02d +0000",
      static_cast<int>(ymd.year()), static_cast<unsigned>(ymd.month()),
      static_cast<unsigned>(ymd.day()), static_cast<int>(time.hours().count()),
      static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
  return {buffer.data(), static_cast<std::size_t>(size)};
}

std::string describeData(const NSData& data) {
  constexpr std::size_t kShown = 24;
  static constexpr const char* kDigits = "0123456789abcdef";
  std::string text = "{length = " + std::to_string(data.size()) + ", bytes = 0x";
  for (std::size_t i = 0; i < data.size() && i < kShown; ++i) {
    text += kDigits[data[i] >> 4];
    text += kDigits[data[i] & 15];
  }
  return text + (data.size() > kShown ? " ...}" : "}");
}

// The white space before a line. Deeper levels get no more of it: the text would be some hundred
// times the size of what it shows.
std::string indentation(std::size_t level) {
  constexpr std::size_t kMaxLevel = 16;
  return std::string(4 * std::min(level, kMaxLevel), ' ');
}

void describe(const Value& value, std::size_t indent, std::string& out) {
  const std::string inner = indentation(indent + 1);
  if (value.isList()) {
    out += "(";
    const char* separator = "\n";
    for (const Value& element : value.list()) {
      out += separator + inner;
      describe(element, indent + 1, out);
      separator = ",\n";
    }
    out += '\n' + indentation(indent) + ')';
  } else if (value.isDictionary()) {
    out += "{\n";
    for (const auto [key, element] : value.dictionary()) {
      out += inner;
      out += key;
      out += " = ";
      describe(element, indent + 1, out);
      out += ";\n";
    }
    out += indentation(indent) + '}';
  } else {
    out += value.description();
  }
}

}  // namespace

std::string Value::description() const {
  switch (kind_) {
    case Kind::absent:
      return "(null)";
    case Kind::text:
      return std::string(text());
    case Kind::number:
      return real_ ? describeNumber(payload_.real) : std::to_string(payload_.integer);
    case Kind::boolean:
      return payload_.integer != 0 ? "1" : "0";
    case Kind::date:
      return describeDate(date());
    case Kind::data:
      return describeData(data());
    case Kind::url:
      return url().absoluteString();
    case Kind::image:
      return "<NSImage " + std::to_string(image().bitmap().width) + 'x' +
             std::to_string(image().bitmap().height) + '>';
    case Kind::object:
      return object()->description();
    case Kind::list:
    case Kind::dictionary: {
      std::string out;
      describe(*this, 0, out);
      return out;
    }
  }
  return {};
}

}  // namespace korvane
