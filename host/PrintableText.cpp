#include "host/PrintableText.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>

namespace korvane {
namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

/// Takes one character off the text's front; nothing (and one byte taken) where it is no UTF-8.
struct Character {
  std::string_view bytes;
  std::optional<std::uint32_t> scalar;
};

Character takeCharacter(std::string_view& text) {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned char lead = byte(0);
  std::size_t length = 1;
  std::uint32_t scalar = lead;
  std::uint32_t smallest = 0;
  if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4, scalar = lead & 0x07u, smallest = 0x10000;
  } else if (lead >= 0xE0 && lead < 0xF0) {
    length = 3, scalar = lead & 0x0Fu, smallest = 0x800;
  } else if (lead >= 0xC2 && lead < 0xE0) {
    length = 2, scalar = lead & 0x1Fu, smallest = 0x80;
  }
  bool valid = lead < 0x80 || length > 1;
  for (std::size_t at = 1; valid && at < length; ++at) {
    valid = at < text.size() && (byte(at) & 0xC0u) == 0x80;
    if (valid) scalar = (scalar << 6) | (byte(at) & 0x3Fu);
  }
  valid = valid && scalar >= smallest && scalar <= 0x10FFFF && (scalar < 0xD800 || scalar > 0xDFFF);
  if (!valid) length = 1;
  const Character character{text.substr(0, length),
                            valid ? std::optional<std::uint32_t>(scalar) : std::nullopt};
  text.remove_prefix(length);
  return character;
}

/// Whether a character steers what a terminal shows: C0, C1, DEL, line and paragraph separators,
/// bidirectional embeddings, overrides and isolates.
bool isSteering(std::uint32_t scalar) {
  return scalar < 0x20 || (scalar >= 0x7F && scalar < 0xA0) ||
         (scalar >= 0x2028 && scalar <= 0x202E) || (scalar >= 0x2066 && scalar <= 0x2069);
}

std::string formatted(const char* format, std::uint32_t scalar) {
  char buffer[16];
  const int length = std::snprintf(buffer, sizeof buffer, format, static_cast<unsigned>(scalar));
  return std::string(buffer, static_cast<std::size_t>(length));
}

}  // namespace

std::string printableText(std::string_view text, LineBreaks lineBreaks) {
  const bool keep = lineBreaks == LineBreaks::keep;
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const auto [bytes, scalar] = takeCharacter(text);
    if (!scalar) {
      result += replacementCharacter;
    } else if (keep && *scalar == '\r' && text.starts_with('\n')) {
      continue;
    } else if (*scalar == '\t' || (keep && *scalar == '\n') || !isSteering(*scalar)) {
      result += bytes;
    } else {
      result += formatted("<U+%04X>", *scalar);
    }
  }
  return result;
}

std::string jsonString(std::string_view text) {
  std::string result = "\"";
  result.reserve(text.size() + 2);
  while (!text.empty()) {
    const auto [bytes, scalar] = takeCharacter(text);
    if (!scalar) {
      result += replacementCharacter;
    } else if (*scalar == '"' || *scalar == '\\') {
      result += '\\';
      result += bytes;
    } else if (*scalar == '\n') {
      result += "\\n";
    } else if (*scalar == '\t') {
      result += "\\t";
    } else if (isSteering(*scalar)) {
      result += formatted("\\u%04x", *scalar);
    } else {
      result += bytes;
    }
  }
  result += '"';
  return result;
}

}  // namespace korvane
