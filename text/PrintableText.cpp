#include "text/PrintableText.h"

#include <cstddef>

#include "text/UTF8.h"

namespace korvane {
namespace {

void appendName(char32_t code, std::string& text) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  text += "<U+";
  for (int shift = 12; shift >= 0; shift -= 4) text += kDigits[(code >> shift) & 15];
  text += '>';
}

}  // namespace

std::string printableText(std::string_view text, LineBreaks lineBreaks) {
  const bool keep = lineBreaks == LineBreaks::keep;
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const UTF8Character first = firstUTF8Character(text);
    const std::string_view bytes = text.substr(0, first.size);
    text.remove_prefix(first.size);
    if (!first.isValid) {
      result += kReplacementUTF8;
    } else if (keep && first.code == '\r' && text.starts_with('\n')) {
      continue;
    } else if (first.code == '\t' || (keep && first.code == '\n') || !isSteering(first.code)) {
      result += bytes;
    } else {
      appendName(first.code, result);
    }
  }
  return result;
}

}  // namespace korvane
