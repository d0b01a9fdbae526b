#include "text/PercentEscapes.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "text/Blocks.h"

namespace korvane {
namespace {

constexpr std::string_view kDigits = "0123456789ABCDEF";

// What a byte is written as. Four bytes, so that one move writes it.
struct Encoded {
  char characters[3];
  std::uint8_t size;
};

constexpr std::array<Encoded, 256> kEncoded = [] {
  constexpr std::string_view unchanged =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  std::array<Encoded, 256> table{};
  for (std::size_t byte = 0; byte < table.size(); ++byte) {
    table[byte] = {{'%', kDigits[byte >> 4], kDigits[byte & 15]}, 3};
  }
  for (const char c : unchanged) table[static_cast<unsigned char>(c)] = {{c, 0, 0}, 1};
  return table;
}();

const Encoded& encodedByte(char c) { return kEncoded[static_cast<unsigned char>(c)]; }

// The number of bytes that encoding gives.
std::size_t encodedSize(std::string_view text) {
  const char* in = text.data();
  const char* const end = in + text.size();
  std::size_t size = text.size() + 2 * countEscapedBlocks(in, end);
  for (; in != end; ++in) size += encodedByte(*in).size - 1;
  return size;
}

// The value of a hexadecimal digit; 16 for any other byte.
constexpr std::array<std::uint8_t, 256> kHexValues = [] {
  std::array<std::uint8_t, 256> values{};
  for (std::size_t byte = 0; byte < values.size(); ++byte) {
    values[byte] = static_cast<std::uint8_t>(hexDigitValue(static_cast<char>(byte)));
  }
  return values;
}();

std::uint8_t hexValue(char c) { return kHexValues[static_cast<unsigned char>(c)]; }

}  // namespace

void appendPercentEscape(std::string& to, char byte) {
  const auto value = static_cast<unsigned char>(byte);
  to += {'%', kDigits[value >> 4], kDigits[value & 15]};
}

void appendPercentEncoded(std::string& to, std::string_view bytes) {
  const std::size_t size = to.size() + encodedSize(bytes);
  if (size > to.capacity()) to.reserve(std::max(size, 2 * to.capacity()));
  // By way of a buffer, since a string can only grow by bytes that are written twice.
  constexpr std::size_t kChunk = 1024;
  std::array<char, 3 * kChunk + kPercentBlockSlack> buffer;
  while (!bytes.empty()) {
    const char* in = bytes.data();
    const char* const end = in + std::min(bytes.size(), kChunk);
    char* out = buffer.data();
    encodePercentBlocks(in, end, out);
    for (; in != end; ++in) {
      const Encoded& entry = encodedByte(*in);
      std::memcpy(out, &entry, sizeof entry);
      out += entry.size;
    }
    to.append(buffer.data(), out);
    bytes.remove_prefix(static_cast<std::size_t>(end - bytes.data()));
  }
}

bool appendPercentDecoded(std::string& to, std::string_view bytes, bool plusAsSpace) {
  const char plus = plusAsSpace ? ' ' : '+';
  const char* in = bytes.data();
  const char* const end = in + bytes.size();
  to.reserve(to.size() + bytes.size());
  // By way of a buffer, since a string can only grow by bytes that are written twice.
  std::array<char, 4096> buffer;
  while (in != end) {
    const char* const stop = end - in > std::ssize(buffer) ? in + buffer.size() : end;
    char* out = buffer.data();
    if (!decodePercentBlocks(in, stop, out, plus)) return false;
    while (in < stop) {
      if (*in != '%') {
        *out++ = *in == '+' ? plus : *in;
        ++in;
        continue;
      }
      if (end - in < 3) return false;
      const unsigned high = hexValue(in[1]);
      const unsigned low = hexValue(in[2]);
      if ((high | low) > 15) return false;
      *out++ = static_cast<char>(high * 16 + low);
      in += 3;
    }
    to.append(buffer.data(), out);
  }
  return true;
}

std::string percentDecodedLeniently(std::string_view bytes) {
  std::string decoded;
  decoded.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (isPercentEscape(bytes, i)) {
      decoded += percentEscapeValue(bytes, i);
      i += 2;
    } else {
      decoded += bytes[i];
    }
  }
  return decoded;
}

}  // namespace korvane
