#include "formats/plist/XMLScalars.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "platform/NSString.h"
#include "text/ASCII.h"
#include "text/Base64.h"
#include "text/UTF8.h"

namespace korvane {
namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

void skipSpace(std::string_view& text) {
  while (!text.empty() && isSpace(text[0])) text.remove_prefix(1);
}

bool takeChar(std::string_view& text, char c) {
  if (!text.starts_with(c)) return false;
  text.remove_prefix(1);
  return true;
}

// Two digits and the character after them.
bool takeTwoDigits(std::string_view& text, int& number, char after) {
  if (text.size() < 3 || !isDigit(text[0]) || !isDigit(text[1]) || text[2] != after) return false;
  number = (text[0] - '0') * 10 + (text[1] - '0');
  text.remove_prefix(3);
  return true;
}

// Days from 1970-01-01 to a day of the Gregorian calendar. A month beyond 12 (or 0) belongs to
// another year.
std::int64_t daysFrom1970(std::int64_t year, int month, int day) {
  const int months = month - 1;
  year += months < 0 ? -1 : months / 12;
  const int monthOfYear = months < 0 ? 11 : months % 12;
  // Years that begin in March: the day that comes and goes is then their last.
  const std::int64_t y = year - (monthOfYear < 2 ? 1 : 0);
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const std::int64_t yearOfEra = y - era * 400;
  const std::int64_t dayOfYear = (153 * ((monthOfYear + 10) % 12) + 2) / 5;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468 + day - 1;
}

bool appendCharacter(std::string_view digits, std::string& text) {
  const bool isHex = takeChar(digits, 'x');
  const unsigned base = isHex ? 16 : 10;
  std::uint32_t code = 0;
  if (digits.empty()) return false;
  for (const char c : digits) {
    const unsigned digit = hexDigitValue(c);
    if (digit >= base) return false;
    code = code * base + digit;
    if (code > 0x10FFFF) return false;
  }
  if (code >= 0xD800 && code <= 0xDFFF) return false;
  appendUTF8(code, text);
  return true;
}

}  // namespace

std::optional<Value> integerOfXML(std::string_view text) {
  skipSpace(text);
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) {
    text.remove_prefix(1);
    skipSpace(text);
  }
  const bool isHex = text.starts_with("0x") || text.starts_with("0X");
  if (isHex) text.remove_prefix(2);
  if (text.empty()) return std::nullopt;
  const std::uint64_t base = isHex ? 16 : 10;
  std::uint64_t value = 0;
  for (const char c : text) {
    const unsigned digit = hexDigitValue(c);
    if (digit >= base) return std::nullopt;
    if (__builtin_mul_overflow(value, base, &value) ||
        __builtin_add_overflow(value, std::uint64_t{digit}, &value)) {
      return std::nullopt;
    }
  }
  constexpr std::uint64_t kMaxInteger = std::numeric_limits<std::int64_t>::max();
  if (isNegative && value > kMaxInteger + 1) return std::nullopt;
  if (isNegative) return Value(static_cast<std::int64_t>(0 - value));
  if (value > kMaxInteger) return Value(static_cast<double>(value));
  return Value(static_cast<std::int64_t>(value));
}

std::optional<Value> realOfXML(std::string_view text) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  static constexpr std::pair<std::string_view, double> kNames[] = {
      {"nan", std::numeric_limits<double>::quiet_NaN()},
      {"inf", kInfinity},
      {"+inf", kInfinity},
      {"-inf", -kInfinity},
      {"infinity", kInfinity},
      {"+infinity", kInfinity},
      {"-infinity", -kInfinity}};
  const auto isSame = [](char a, char b) { return a == b || (a >= 'A' && (a | 0x20) == b); };
  for (const auto& [name, value] : kNames) {
    if (std::equal(text.begin(), text.end(), name.begin(), name.end(), isSame)) return value;
  }
  skipSpace(text);
  std::string_view number = text;
  if (number.starts_with('-') || number.starts_with('+')) number.remove_prefix(1);
  // from_chars also takes names, which are only what is in the table above.
  if (number.empty() || !(isDigit(number[0]) || number[0] == '.')) return std::nullopt;
  double value = 0;
  const auto [end, failure] = std::from_chars(number.data(), number.data() + number.size(), value);
  if (failure == std::errc::invalid_argument) return std::nullopt;
  if (end != number.data() + number.size()) return std::nullopt;
  return doubleValue(text);  // which also knows what is out of range
}

std::optional<Value> dateOfXML(std::string_view text) {
  const bool isNegative = takeChar(text, '-');
  std::int64_t year = 0;
  for (; !text.empty() && isDigit(text[0]); text.remove_prefix(1)) {
    year = year * 10 + (text[0] - '0');
    if (year > std::numeric_limits<std::int32_t>::max()) return std::nullopt;
  }
  if (isNegative) year = -year;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  if (!takeChar(text, '-') || !takeTwoDigits(text, month, '-') || !takeTwoDigits(text, day, 'T') ||
      !takeTwoDigits(text, hour, ':') || !takeTwoDigits(text, minute, ':') ||
      !takeTwoDigits(text, second, 'Z') || !text.empty()) {
    return std::nullopt;
  }
  const std::int64_t seconds =
      daysFrom1970(year, month, day) * 86400 + ((std::int64_t{hour} * 60) + minute) * 60 + second;
  return Value(NSDate{static_cast<double>(seconds)});
}

std::optional<Value> dataOfXML(std::string_view text) {
  return Value(*decodedBase64<NSData>(text, Base64Leniency::paddingAnywhere));
}

bool appendReference(const char*& at, const char* end, std::string& text) {
  constexpr std::size_t kMaxReference = 64;  // a character's number with many zeros before it
  const std::string_view rest(at + 1, static_cast<std::size_t>(end - at - 1));
  const std::size_t size = rest.substr(0, kMaxReference).find(';');
  if (size == std::string_view::npos) return false;
  static constexpr std::pair<std::string_view, char> kEntities[] = {
      {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"apos", '\''}, {"quot", '"'}};
  const std::string_view name = rest.substr(0, size);
  at += size + 2;
  if (name.starts_with('#')) return appendCharacter(name.substr(1), text);
  for (const auto& [entity, character] : kEntities) {
    if (entity != name) continue;
    text += character;
    return true;
  }
  return false;
}

}  // namespace korvane
