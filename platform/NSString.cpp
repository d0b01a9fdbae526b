#include "platform/NSString.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

#include "text/ASCII.h"
#include "text/PercentEscapes.h"
#include "text/UTF8.h"

namespace korvane {
namespace {

bool isWhitespaceOrNewline(char32_t c) {
  return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
         (c >= 0x2000 && c <= 0x200B) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
         c == 0x3000;
}

std::string_view withoutLeadingWhitespace(std::string_view text) {
  while (!text.empty()) {
    const UTF8Character c = firstUTF8Character(text);
    if (!isWhitespaceOrNewline(c.code)) break;
    text.remove_prefix(c.size);
  }
  return text;
}

// Of a number that is out of range: whether it is too large rather than too small. That is told by
// the place of its first digit other than 0, counted from the decimal point.
bool isTooLarge(std::string_view digits) {
  const std::size_t mantissaEnd = std::min(digits.find_first_of("eE"), digits.size());
  const std::string_view mantissa = digits.substr(0, mantissaEnd);
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  const std::size_t first = std::min(mantissa.find_first_not_of("0."), mantissa.size());
  const auto place = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(first);
  constexpr std::int64_t kFar = std::numeric_limits<std::int64_t>::max() / 2;
  const std::string_view exponent = digits.substr(std::min(mantissaEnd + 1, digits.size()));
  return place + std::clamp(integerValue(exponent), -kFar, kFar) > 0;
}

template <class Number>
Number leadingNumber(std::string_view text) {
  text = withoutLeadingWhitespace(text);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  // from_chars also knows "inf" and "nan", which are not decimal numbers.
  if (text.empty() || !(isDigit(text[0]) || text[0] == '.')) return 0;
  Number value = 0;
  const char* const begin = text.data();
  const auto [end, failure] = std::from_chars(begin, begin + text.size(), value);
  if (failure == std::errc::result_out_of_range) {
    const bool large = isTooLarge(text.substr(0, static_cast<std::size_t>(end - begin)));
    value = large ? std::numeric_limits<Number>::infinity() : Number(0);
  } else if (failure != std::errc()) {
    return 0;
  }
  return negative ? -value : value;
}

// Where the last component's name begins and ends: trailing slashes belong to no component.
struct Span {
  std::size_t begin, end;
};
Span lastComponent(std::string_view path) {
  std::size_t end = path.size();
  while (end > 1 && path[end - 1] == '/') --end;
  const std::size_t slash = end == 0 ? std::string_view::npos : path.rfind('/', end - 1);
  if (end == 1 && path[0] == '/') return {0, 1};
  return {slash == std::string_view::npos ? 0 : slash + 1, end};
}

// Position of the "." that starts the extension, npos where there is none.
std::size_t extensionDot(std::string_view path) {
  const Span span = lastComponent(path);
  const std::string_view name = path.substr(span.begin, span.end - span.begin);
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || name == "..") return std::string_view::npos;
  return span.begin + dot;
}

}  // namespace

std::int64_t integerValue(std::string_view text) {
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  text = withoutLeadingWhitespace(text);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  std::int64_t value = 0;  // kept negative: that side holds one more
  for (; !text.empty() && isDigit(text[0]); text.remove_prefix(1)) {
    if (__builtin_mul_overflow(value, std::int64_t{10}, &value) ||
        __builtin_sub_overflow(value, std::int64_t{text[0] - '0'}, &value)) {
      return negative ? kMin : kMax;
    }
  }
  if (negative) return value;
  return value == kMin ? kMax : -value;
}

std::string stringByReplacingDecimalDigits(std::string_view text) {
  // The zero of every script that has decimal digits; its nine others follow it.
  static constexpr std::array<char32_t, 76> kZeros{
      0x0030,  0x0660,  0x06F0,  0x07C0,  0x0966,  0x09E6,  0x0A66,  0x0AE6,  0x0B66,  0x0BE6,
      0x0C66,  0x0CE6,  0x0D66,  0x0DE6,  0x0E50,  0x0ED0,  0x0F20,  0x1040,  0x1090,  0x17E0,
      0x1810,  0x1946,  0x19D0,  0x1A80,  0x1A90,  0x1B50,  0x1BB0,  0x1C40,  0x1C50,  0xA620,
      0xA8D0,  0xA900,  0xA9D0,  0xA9F0,  0xAA50,  0xABF0,  0xFF10,  0x104A0, 0x10D30, 0x10D40,
      0x11066, 0x110F0, 0x11136, 0x111D0, 0x112F0, 0x11450, 0x114D0, 0x11650, 0x116C0, 0x116D0,
      0x116DA, 0x11730, 0x118E0, 0x11950, 0x11BF0, 0x11C50, 0x11D50, 0x11DA0, 0x11F50, 0x16130,
      0x16A60, 0x16AC0, 0x16B50, 0x16D70, 0x1CCF0, 0x1D7CE, 0x1D7D8, 0x1D7E2, 0x1D7EC, 0x1D7F6,
      0x1E140, 0x1E2F0, 0x1E4F0, 0x1E5F1, 0x1E950, 0x1FBF0,
  };
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const UTF8Character c = firstUTF8Character(text);
    const auto after = std::upper_bound(kZeros.begin(), kZeros.end(), c.code);
    if (after != kZeros.begin() && c.code - *(after - 1) < 10) {
      result += static_cast<char>('0' + (c.code - *(after - 1)));
    } else {
      result.append(text.substr(0, c.size));
    }
    text.remove_prefix(c.size);
  }
  return result;
}

float floatValue(std::string_view text) { return leadingNumber<float>(text); }
double doubleValue(std::string_view text) { return leadingNumber<double>(text); }

bool boolValue(std::string_view text) {
  text = withoutLeadingWhitespace(text);
  if (text.empty()) return false;
  if (std::string_view("YyTt").find(text[0]) != std::string_view::npos) return true;
  if (text[0] == '-' || text[0] == '+') text.remove_prefix(1);
  while (text.starts_with('0')) text.remove_prefix(1);
  return !text.empty() && text[0] >= '1' && text[0] <= '9';
}

std::string stringByTrimmingWhitespaceAndNewlines(std::string_view text) {
  text = withoutLeadingWhitespace(text);
  while (!text.empty()) {
    std::size_t start = text.size() - 1;
    while (start > 0 && text.size() - start < 4 && isUTF8Continuation(text[start])) --start;
    const std::string_view tail = text.substr(start);
    const UTF8Character c = firstUTF8Character(tail);
    if (c.size != tail.size() || !isWhitespaceOrNewline(c.code)) break;
    text.remove_suffix(tail.size());
  }
  return std::string(text);
}

bool isAbsolutePath(std::string_view path) {
  return path.starts_with('/') || path.starts_with('~');
}

std::string lastPathComponent(std::string_view path) {
  const Span span = lastComponent(path);
  return std::string(path.substr(span.begin, span.end - span.begin));
}

std::string pathExtension(std::string_view path) {
  const std::size_t dot = extensionDot(path);
  if (dot == std::string_view::npos) return {};
  return std::string(path.substr(dot + 1, lastComponent(path).end - dot - 1));
}

std::string stringByDeletingPathExtension(std::string_view path) {
  return std::string(path.substr(0, extensionDot(path)));
}

std::optional<std::string> stringByAppendingPathExtension(std::string_view path,
                                                          std::string_view extension) {
  if (path.empty() || extension.starts_with('/')) return std::nullopt;
  std::string result(path);
  result += '.';
  result += extension;
  return result;
}

bool isUTF8(std::string_view bytes) { return isValidUTF8(bytes); }

bool appendByReplacingPercentEscapes(std::string& to, std::string_view text, bool plusAsSpace) {
  return appendPercentDecoded(to, text, plusAsSpace);
}

std::optional<std::string> bytesByReplacingPercentEscapes(std::string_view text) {
  std::string bytes;
  if (!appendByReplacingPercentEscapes(bytes, text)) return std::nullopt;
  return bytes;
}

bool assignByReplacingPercentEscapes(std::string& to, std::string_view text, bool plusAsSpace) {
  to.clear();
  if (!appendByReplacingPercentEscapes(to, text, plusAsSpace) || !isUTF8(to)) return false;
  if (to.starts_with(kByteOrderMark)) to.erase(0, kByteOrderMark.size());
  return true;
}

std::optional<std::string> stringByReplacingPercentEscapes(std::string_view text) {
  std::string result;
  if (!assignByReplacingPercentEscapes(result, text)) return std::nullopt;
  return result;
}

}  // namespace korvane
