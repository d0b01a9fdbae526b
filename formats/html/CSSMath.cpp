#include "formats/html/CSSMath.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <vector>

#include "formats/html/HTMLCharacters.h"
#include "text/ASCII.h"

namespace korvane {
namespace {

struct Quantity {
  double value = 0;
  std::string unit = {};  // in lower case, empty for a number
};

struct AbsoluteUnit {
  std::string_view name;
  double pixels;
};

constexpr std::array<AbsoluteUnit, 7> kAbsoluteUnits = {{{"px", 1},
                                                         {"pt", 96.0 / 72},
                                                         {"pc", 16},
                                                         {"in", 96},
                                                         {"cm", 96 / 2.54},
                                                         {"mm", 9.6 / 2.54},
                                                         {"q", 2.4 / 2.54}}};

const AbsoluteUnit* absoluteUnit(std::string_view unit) {
  const auto* const found = std::find_if(kAbsoluteUnits.begin(), kAbsoluteUnits.end(),
                                         [&](const AbsoluteUnit& one) { return one.name == unit; });
  return found == kAbsoluteUnits.end() ? nullptr : found;
}

// Brings both to one unit; false where these cannot be told from each other here.
bool makeAlike(Quantity& a, Quantity& b) {
  if (a.unit == b.unit) return true;
  for (Quantity* one : {&a, &b}) {
    const AbsoluteUnit* unit = absoluteUnit(one->unit);
    if (unit == nullptr) return false;
    one->value *= unit->pixels;
    one->unit = "px";
  }
  return true;
}

// Reads an expression from its first character to its last (CSS Values, level 4, section 10).
class Expression {
 public:
  explicit Expression(std::string_view text) : text_(text) {}

  std::optional<Quantity> whole() {
    const std::optional<Quantity> result = function();
    return at_ == text_.size() ? result : std::nullopt;
  }

 private:
  static constexpr int kMaxDepth = 16;

  char charAt(std::size_t at) const { return at < text_.size() ? text_[at] : '\0'; }
  bool skipSpace() {
    const std::size_t begin = at_;
    while (at_ < text_.size() && isHTMLSpace(text_[at_])) ++at_;
    return at_ > begin;
  }

  std::optional<Quantity> sum() {
    skipSpace();
    std::optional<Quantity> left = product();
    while (left) {
      const bool space = skipSpace();
      const char sign = charAt(at_);
      if (sign != '+' && sign != '-') break;
      ++at_;
      if (!space || !skipSpace()) return std::nullopt;  // "1px -2px"
      std::optional<Quantity> right = product();
      if (!right || !makeAlike(*left, *right)) return std::nullopt;
      left->value += sign == '+' ? right->value : -right->value;
    }
    return left;
  }

  std::optional<Quantity> product() {
    std::optional<Quantity> left = value();
    while (left) {
      const std::size_t end = at_;
      skipSpace();
      const char sign = charAt(at_);
      if (sign != '*' && sign != '/') {
        at_ = end;
        break;
      }
      ++at_;
      skipSpace();
      std::optional<Quantity> right = value();
      if (!right) return std::nullopt;
      if (sign == '/') {
        if (!right->unit.empty() || right->value == 0) return std::nullopt;
        left->value /= right->value;
      } else {
        if (!left->unit.empty() && !right->unit.empty()) return std::nullopt;
        if (left->unit.empty()) std::swap(left->unit, right->unit);
        left->value *= right->value;
      }
    }
    return left;
  }

  std::optional<Quantity> value() {
    if (charAt(at_) == '(') {
      ++at_;
      const std::vector<Quantity> inner = arguments();
      return inner.size() == 1 ? std::optional(inner.front()) : std::nullopt;
    }
    if (isLetter(charAt(at_)) || (charAt(at_) == '-' && isLetter(charAt(at_ + 1)))) {
      return function();
    }
    Quantity number;
    if (charAt(at_) == '+') ++at_;
    const char* const end = text_.data() + text_.size();
    const auto [rest, error] = std::from_chars(text_.data() + at_, end, number.value);
    if (error != std::errc()) return std::nullopt;
    at_ = static_cast<std::size_t>(rest - text_.data());
    if (charAt(at_) == '%') {
      ++at_;
      number.unit = "%";
      return number;
    }
    while (isLetter(charAt(at_))) number.unit += lowercase(text_[at_++]);
    return number;
  }

  // What stands between the commas up to the closing bracket; nothing where that is wrong.
  std::vector<Quantity> arguments() {
    std::vector<Quantity> all;
    if (++depth_ > kMaxDepth) return {};
    while (true) {
      std::optional<Quantity> one = sum();
      if (!one) return {};
      all.push_back(std::move(*one));
      skipSpace();
      const char mark = charAt(at_++);
      if (mark == ')') break;
      if (mark != ',') return {};
    }
    --depth_;
    return all;
  }

  std::optional<Quantity> function() {
    std::string name;
    while (isLetter(charAt(at_)) || charAt(at_) == '-') name += lowercase(text_[at_++]);
    if (charAt(at_) != '(') return std::nullopt;
    ++at_;
    std::vector<Quantity> all = arguments();
    if (all.empty()) return std::nullopt;
    for (std::size_t i = 1; i < all.size(); ++i) {
      // Twice round, so that all have the unit that the last ones had to take.
      if (!makeAlike(all[0], all[i])) return std::nullopt;
    }
    for (std::size_t i = 1; i < all.size(); ++i) makeAlike(all[0], all[i]);
    const auto less = [](const Quantity& a, const Quantity& b) { return a.value < b.value; };
    if (name == "calc" || name == "-webkit-calc" || name == "-moz-calc") {
      return all.size() == 1 ? std::optional(all.front()) : std::nullopt;
    }
    if (name == "min") return *std::min_element(all.begin(), all.end(), less);
    if (name == "max") return *std::max_element(all.begin(), all.end(), less);
    if (name == "clamp" && all.size() == 3) {
      return std::max(all[0], std::min(all[1], all[2], less), less);
    }
    return std::nullopt;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  int depth_ = 0;
};

}  // namespace

std::optional<std::string> cssMathResult(std::string_view function) {
  const std::optional<Quantity> result = Expression(function).whole();
  if (!result || !(result->value >= 0 && result->value < 1e6)) return std::nullopt;
  std::array<char, 32> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "%.4f", result->value);
  std::string text = buffer.data();
  for (char& c : text) c = isDigit(c) ? c : '.';  // whatever the locale's own mark is
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.')) text.pop_back();
  return text + result->unit;
}

}  // namespace korvane
