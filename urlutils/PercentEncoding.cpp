#include "urlutils/detail/PercentEncoding.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

#include "platform/NSString.h"
#include "text/PercentEncodingBlocks.h"
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

// The number of bytes that encoding gives.
std::size_t encodedSize(std::string_view text) {
  const char* in = text.data();
  const char* const end = in + text.size();
  std::size_t size = text.size() + 2 * countEscapedBlocks(in, end);
  for (; in != end; ++in) size += encodedByte(*in).size - 1;
  return size;
}

}  // namespace

void appendURLEncoded(std::string& to, std::string_view subject) {
  if (subject.starts_with(kByteOrderMark)) subject.remove_prefix(kByteOrderMark.size());
  const std::size_t size = to.size() + encodedSize(subject);
  if (size > to.capacity()) to.reserve(std::max(size, 2 * to.capacity()));
  // By way of a buffer, since a string can only grow by bytes that are written twice.
  constexpr std::size_t kChunk = 1024;
  std::array<char, 3 * kChunk + encodedBlockSlack> buffer;
  while (!subject.empty()) {
    const char* in = subject.data();
    const char* const end = in + std::min(subject.size(), kChunk);
    char* out = buffer.data();
    encodePercentBlocks(in, end, out);
    for (; in != end; ++in) {
      const Encoded& entry = encodedByte(*in);
      std::memcpy(out, &entry, sizeof entry);
      out += entry.size;
    }
    to.append(buffer.data(), out);
    subject.remove_prefix(static_cast<std::size_t>(end - subject.data()));
  }
}

bool assignURLDecoded(std::string& to, std::string_view subject, bool plusAsSpace) {
  to.clear();
  return appendByReplacingPercentEscapes(to, subject, plusAsSpace) && isUTF8(to);
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
