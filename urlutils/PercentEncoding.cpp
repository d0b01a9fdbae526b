#include "urlutils/PercentEncoding.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

#include "platform/NSString.h"
#include "urlutils/RequestUtils.h"

namespace korvane::RequestUtils {
namespace {

// What a byte is written as. Four bytes, so that one move writes it.
struct Encoded {
  char characters[3];
  std::uint8_t size;
};

constexpr std::array<Encoded, 256> kEncoded = [] {
  constexpr std::string_view digits = "0123456789ABCDEF";
  constexpr std::string_view unchanged =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  std::array<Encoded, 256> table{};
  for (std::size_t byte = 0; byte < table.size(); ++byte) {
    table[byte] = {{'%', digits[byte >> 4], digits[byte & 15]}, 3};
  }
  for (const char c : unchanged) table[static_cast<unsigned char>(c)] = {{c, 0, 0}, 1};
  return table;
}();

// U+FEFF. As the first character it says how a text is stored, and is no part of it.
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

const Encoded& encodedByte(char c) { return kEncoded[static_cast<unsigned char>(c)]; }

}  // namespace

void appendURLEncoded(std::string& to, std::string_view subject) {
  if (subject.starts_with(kByteOrderMark)) subject.remove_prefix(kByteOrderMark.size());
  if (subject.empty()) return;
  std::size_t size = 0;
  for (const char c : subject) size += encodedByte(c).size;
  const std::size_t begin = to.size();
  to.resize(begin + size);
  char* out = to.data() + begin;
  // Each move but the last ones writes whole entries, what is too much is written over.
  std::size_t at = 0;
  for (const char* const end = to.data() + to.size(); end - out >= 4 && at < subject.size(); ++at) {
    const Encoded& entry = encodedByte(subject[at]);
    std::memcpy(out, &entry, 4);
    out += entry.size;
  }
  for (; at < subject.size(); ++at) {
    const Encoded& entry = encodedByte(subject[at]);
    std::memcpy(out, entry.characters, entry.size);
    out += entry.size;
  }
}

bool assignURLDecoded(std::string& to, std::string_view subject, bool plusAsSpace) {
  to.clear();
  if (!plusAsSpace) return appendByReplacingPercentEscapes(to, subject) && isUTF8(to);
  std::string spaced(subject);
  for (char& c : spaced) c = c == '+' ? ' ' : c;
  return appendByReplacingPercentEscapes(to, spaced) && isUTF8(to);
}

std::string URLEncodedString(std::string_view subject) {
  std::string result;
  appendURLEncoded(result, subject);
  return result;
}

std::optional<std::string> URLDecodedString(std::string_view subject, bool plusAsSpace) {
  std::string result;
  if (!assignURLDecoded(result, subject, plusAsSpace)) return std::nullopt;
  return result;
}

}  // namespace korvane::RequestUtils
