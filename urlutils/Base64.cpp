#include <array>
#include <cstdint>
#include <cstring>

#include "platform/NSString.h"
#include "text/Base64Blocks.h"
#include "urlutils/RequestUtils.h"

namespace korvane::RequestUtils {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::uint8_t kForeign = 99;

// The six bits that a character stands for. Bytes from 0x80 on, parts of characters outside ASCII,
// are foreign like every character outside the alphabet.
constexpr std::array<std::uint8_t, 256> kValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kForeign);
  for (std::uint8_t i = 0; i < 64; ++i) values[static_cast<unsigned char>(kAlphabet[i])] = i;
  return values;
}();

std::uint32_t valueOf(char c) { return kValues[static_cast<unsigned char>(c)]; }

// Writes the lowest `count` bytes of a group of 24 bits that are above `unused` bits.
char* writeBytes(char* out, std::uint32_t bits, int count) {
  for (int shift = 16; count > 0; --count, shift -= 8) *out++ = static_cast<char>(bits >> shift);
  return out;
}

// Decodes into memory for three bytes of each four characters and base64BlockSlack more; gives the
// end of what was written.
char* decode(std::string_view text, char* out) {
  const char* in = text.data();
  const char* const end = in + text.size();
  std::uint32_t pending = 0;
  int count = 0;
  while (in != end) {
    if (count == 0) {
      decodeBase64Blocks(in, end, out);
      while (end - in >= 4) {
        const std::uint32_t a = valueOf(in[0]), b = valueOf(in[1]), c = valueOf(in[2]),
                            d = valueOf(in[3]);
        if ((a | b | c | d) >= 64) break;
        out = writeBytes(out, a << 18 | b << 12 | c << 6 | d, 3);
        in += 4;
      }
      if (in == end) break;
    }
    const std::uint32_t value = valueOf(*in++);
    if (value == kForeign) continue;
    pending = pending << 6 | value;
    if (++count == 4) {
      out = writeBytes(out, pending, 3);
      pending = 0;
      count = 0;
    }
  }
  if (count == 3) return writeBytes(out, pending << 6, 2);
  if (count == 2) return writeBytes(out, pending << 12, 1);
  return out;
}

}  // namespace

std::optional<std::string> base64EncodedString(std::string_view subject) {
  if (subject.empty()) return std::nullopt;
  std::string result((subject.size() + 2) / 3 * 4, '=');
  const char* in = subject.data();
  const char* const end = in + subject.size();
  char* out = result.data();
  encodeBase64Blocks(in, end, out);
  const auto byte = [](char c) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(c));
  };
  while (in != end) {
    const std::ptrdiff_t left = end - in;
    const std::uint32_t bits =
        byte(in[0]) << 16 | (left > 1 ? byte(in[1]) << 8 : 0) | (left > 2 ? byte(in[2]) : 0);
    out[0] = kAlphabet[bits >> 18];
    out[1] = kAlphabet[bits >> 12 & 63];
    if (left > 1) out[2] = kAlphabet[bits >> 6 & 63];
    if (left > 2) out[3] = kAlphabet[bits & 63];
    out += 4;
    in += left > 3 ? 3 : left;
  }
  return result;
}

std::optional<std::string> base64DecodedString(std::string_view subject) {
  std::string result;
  result.resize(subject.size() / 4 * 3 + 2 + base64BlockSlack);
  const char* const end = decode(subject, result.data());
  result.resize(static_cast<std::size_t>(end - result.data()));
  if (result.empty() || !isUTF8(result)) return std::nullopt;
  return result;
}

}  // namespace korvane::RequestUtils
