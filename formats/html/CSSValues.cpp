#include "formats/html/CSSValues.h"

#include "formats/html/CSSColor.h"
#include "formats/html/CSSMath.h"
#include "formats/html/CSSWords.h"
#include "formats/html/HTMLCharacters.h"
#include "text/ASCII.h"

namespace korvane {
namespace {

constexpr std::size_t kMaxValue = 200;

bool isWordly(char c) {
  return isAlphanumeric(c) || c == ' ' || c == '-' || c == '.' || c == ',' || !isASCII(c);
}

// Whether a colour is written as mail clients have always known it: "rgb(1, 2, 3)".
bool isOldForm(std::string_view function) {
  const std::string name = lowercase(function.substr(0, function.find('(')));
  if (name != "rgb" && name != "rgba" && name != "hsl" && name != "hsla") return false;
  const std::string_view arguments = function.substr(name.size());
  return arguments.find(',') != arguments.npos && arguments.find('/') == arguments.npos &&
         arguments.find("none") == arguments.npos;
}

}  // namespace

std::optional<std::string> harmlessValue(std::string_view value) {
  value = withoutOuterSpace(value);
  if (value.empty() || value.size() > kMaxValue) return std::nullopt;
  std::string out;
  char quote = '\0';
  for (std::size_t i = 0; i < value.size(); ++i) {
    const char c = isHTMLSpace(value[i]) ? ' ' : value[i];
    if (c == '"' || c == '\'') {
      if (quote != '\0' && quote != c) return std::nullopt;
      quote = quote == '\0' ? c : '\0';
      out += c;
    } else if (quote != '\0') {
      if (!isWordly(c)) return std::nullopt;
      out += c;
    } else if (c == '(') {
      std::size_t begin = i;
      while (begin > 0 && (isLetter(value[begin - 1]) || value[begin - 1] == '-')) --begin;
      const std::size_t end = i + 1 + findOutside(value.substr(i + 1), ")");
      std::string function;
      for (const char one : value.substr(begin, end + 1 - begin)) {
        const bool space = isHTMLSpace(one);
        if (!space || !function.ends_with(' ')) function += space ? ' ' : one;
      }
      if (end >= value.size()) function += ')';  // what is open at the end of a style is closed
      out.erase(out.size() - (i - begin));
      if (const auto color = readCSSColor(function)) {
        out += isOldForm(function) ? function : color->text();
      } else if (const auto length = cssMathResult(function)) {
        out += *length;
      } else {
        return std::nullopt;
      }
      i = end;
    } else if (c == ' ') {
      if (!out.ends_with(' ')) out += c;
    } else {
      const bool isNegative =
          c == '-' && i + 1 < value.size() && (isDigit(value[i + 1]) || value[i + 1] == '.');
      const bool isSign = c == '#' || c == '%' || c == '+' || c == '/';
      if (isNegative || (!isWordly(c) && !isSign)) return std::nullopt;
      out += c;
    }
  }
  if (quote != '\0' || out.size() > kMaxValue) return std::nullopt;
  return out;
}

}  // namespace korvane
