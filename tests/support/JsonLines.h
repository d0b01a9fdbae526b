#pragma once

// Reads the tables of tests/data: one JSON value (RFC 8259) per line. null is the absent Value;
// numbers without a fraction or exponent are integers.

#include <charconv>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Value.h"

#include "support/Places.h"

namespace korvane::testing {

class JsonReader {
 public:
  /// The value of a whole text; throws std::runtime_error for anything that is not JSON.
  static Value read(std::string_view text) {
    JsonReader reader(text);
    Value value = reader.value();
    reader.skipSpace();
    if (reader.at_ != text.size()) reader.fail("more after the value");
    return value;
  }

 private:
  explicit JsonReader(std::string_view text) : text_(text) {}

  [[noreturn]] void fail(const char* what) const {
    throw std::runtime_error("JSON, byte " + std::to_string(at_) + ": " + what);
  }
  char peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }
  void skipSpace() {
    while (at_ < text_.size() && std::string_view(" \t\r\n").find(text_[at_]) != text_.npos) ++at_;
  }
  void expect(char c) {
    skipSpace();
    if (peek() != c) fail((std::string("expected ") + c).c_str());
    ++at_;
  }
  bool take(std::string_view word) {
    if (!text_.substr(at_).starts_with(word)) return false;
    at_ += word.size();
    return true;
  }

  Value value() {
    skipSpace();
    switch (peek()) {
      case '{':
        return object();
      case '[':
        return array();
      case '"':
        return Value(string());
      default:
        break;
    }
    if (take("null")) return {};
    if (take("true")) return Value(true);
    if (take("false")) return Value(false);
    return number();
  }

  Value object() {
    Dictionary result;
    expect('{');
    skipSpace();
    while (peek() != '}') {
      if (!result.empty()) expect(',');
      skipSpace();
      const std::string key = string();
      expect(':');
      result.set(key, value());
      skipSpace();
    }
    ++at_;
    return Value(std::move(result));
  }

  Value array() {
    List result;
    expect('[');
    skipSpace();
    while (peek() != ']') {
      if (!result.empty()) expect(',');
      result.push_back(value());
      skipSpace();
    }
    ++at_;
    return Value(std::move(result));
  }

  std::string string() {
    expect('"');
    std::string result;
    for (;;) {
      if (at_ >= text_.size()) fail("unfinished string");
      const char c = text_[at_++];
      if (c == '"') return result;
      if (c != '\\') {
        result += c;
        continue;
      }
      const char escape = peek();
      ++at_;
      switch (escape) {
        case 'b':
          result += '\b';
          break;
        case 'f':
          result += '\f';
          break;
        case 'n':
          result += '\n';
          break;
        case 'r':
          result += '\r';
          break;
        case 't':
          result += '\t';
          break;
        case '"':
        case '\\':
        case '/':
          result += escape;
          break;
        case 'u':
          appendCharacter(result);
          break;
        default:
          fail("unknown escape");
      }
    }
  }

  char32_t codeUnit() {
    unsigned unit = 0;
    const char* first = text_.data() + at_;
    if (text_.size() - at_ < 4 || std::from_chars(first, first + 4, unit, 16).ptr != first + 4) {
      fail("\\u without four hexadecimal digits");
    }
    at_ += 4;
    return unit;
  }

  void appendCharacter(std::string& to) {
    char32_t c = codeUnit();
    if (c >= 0xD800 && c < 0xDC00 && take("\\u")) {
      const char32_t low = codeUnit();
      if (low < 0xDC00 || low > 0xDFFF) fail("half a surrogate pair");
      c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
    }
    if (c >= 0xD800 && c <= 0xDFFF) fail("half a surrogate pair");
    if (c < 0x80) {
      to += static_cast<char>(c);
    } else if (c < 0x800) {
      to += {static_cast<char>(0xC0 | (c >> 6)), static_cast<char>(0x80 | (c & 0x3F))};
    } else if (c < 0x10000) {
      to += {static_cast<char>(0xE0 | (c >> 12)), static_cast<char>(0x80 | ((c >> 6) & 0x3F)),
             static_cast<char>(0x80 | (c & 0x3F))};
    } else {
      to += {static_cast<char>(0xF0 | (c >> 18)), static_cast<char>(0x80 | ((c >> 12) & 0x3F)),
             static_cast<char>(0x80 | ((c >> 6) & 0x3F)), static_cast<char>(0x80 | (c & 0x3F))};
    }
  }

  Value number() {
    const std::size_t end = std::min(text_.find_first_not_of("+-.0123456789eE", at_), text_.size());
    const std::string_view digits = text_.substr(at_, end - at_);
    if (digits.empty()) fail("no value");
    at_ = end;
    const auto whole = [&](auto number) {
      const auto [last, error] =
          std::from_chars(digits.data(), digits.data() + digits.size(), number);
      if (error != std::errc() || last != digits.data() + digits.size()) fail("bad number");
      return Value(number);
    };
    return digits.find_first_of(".eE") == digits.npos ? whole(std::int64_t{}) : whole(double{});
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

/// The rows of a table of tests/data; throws when it cannot be read, so that no test passes over an
/// empty table.
inline std::vector<Value> readJsonLines(const std::string& name) {
  std::ifstream file(std::string(KORVANE_TEST_DATA) + "/" + name);
  if (!file) throw std::runtime_error("cannot read " + name);
  std::vector<Value> rows;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty()) rows.push_back(JsonReader::read(line));
  }
  if (rows.empty()) throw std::runtime_error(name + " has no rows");
  return rows;
}

}  // namespace korvane::testing
