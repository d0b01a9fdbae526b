#include "formats/html/CSSWords.h"

#include <algorithm>

#include "formats/html/HTMLCharacters.h"

namespace korvane {
namespace {

constexpr std::size_t kMaxPieces = 64;

}  // namespace

std::string_view withoutOuterSpace(std::string_view text) {
  while (!text.empty() && isHTMLSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isHTMLSpace(text.back())) text.remove_suffix(1);
  return text;
}

std::size_t findOutside(std::string_view text, ASCIISet characters, CSSBrackets brackets) {
  const char opening = brackets == CSSBrackets::round ? '(' : '{';
  const char closing = brackets == CSSBrackets::round ? ')' : '}';
  char quote = '\0';
  std::size_t open = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\\') {
      ++i;
    } else if (quote != '\0') {
      if (c == quote || c == '\n') quote = '\0';
    } else if (open == 0 && characters.holds(c)) {
      return i;
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == opening) {
      ++open;
    } else if (c == closing && open > 0) {
      --open;
    }
  }
  return text.size();
}

std::vector<std::string_view> cssWords(std::string_view value) {
  std::vector<std::string_view> words;
  value = withoutOuterSpace(value);
  while (!value.empty() && words.size() < kMaxPieces) {
    const std::size_t end = findOutside(value, " \t\n\r\f");
    words.push_back(value.substr(0, end));
    value = withoutOuterSpace(value.substr(end));
  }
  return words;
}

std::vector<std::string_view> cssList(std::string_view value) {
  std::vector<std::string_view> pieces;
  while (pieces.size() < kMaxPieces) {
    const std::size_t end = findOutside(value, ",");
    pieces.push_back(withoutOuterSpace(value.substr(0, end)));
    if (end == value.size()) break;
    value.remove_prefix(end + 1);
  }
  return pieces;
}

std::string withoutComments(std::string_view text) {
  if (text.find("/*") == text.npos) return std::string(text);
  std::string out;
  out.reserve(text.size());
  char quote = '\0';
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (quote == '\0' && c == '/' && i + 1 < text.size() && text[i + 1] == '*') {
      const std::size_t end = text.find("*/", i + 2);
      if (end == text.npos) break;
      out += ' ';
      i = end + 1;
      continue;
    }
    if (c == '"' || c == '\'') {
      if (quote == '\0') {
        quote = c;
      } else if (quote == c) {
        quote = '\0';
      }
    } else if (c == '\n') {
      quote = '\0';
    }
    out += c;
    if (c == '\\' && i + 1 < text.size()) out += text[++i];
  }
  return out;
}

}  // namespace korvane
