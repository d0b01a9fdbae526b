#include "text/Base64.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "text/Blocks.h"

namespace korvane {
namespace {

constexpr std::uint8_t kForeign = 64;
constexpr std::uint8_t kPadding = 65;
constexpr std::uint8_t kSpace = 66;
constexpr std::uint8_t kRareSpace = 67;  // form feed and vertical tab, which XML does not count

// The six bits that a character stands for, or one of the above. Bytes from 0x80 on, parts of
// characters outside ASCII, are foreign.
constexpr std::array<std::uint8_t, 256> kValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kForeign);
  for (std::uint8_t i = 0; i < 64; ++i) values[static_cast<unsigned char>(kBase64Alphabet[i])] = i;
  for (const char c : {' ', '\t', '\n', '\r'}) values[static_cast<unsigned char>(c)] = kSpace;
  values['\f'] = values['\v'] = kRareSpace;
  values['='] = kPadding;
  return values;
}();

std::uint32_t valueOf(char c) { return kValues[static_cast<unsigned char>(c)]; }

// Writes the first `count` bytes of a group of 24 bits.
char* writeBytes(char* out, std::uint32_t bits, int count) {
  for (int shift = 16; count > 0; --count, shift -= 8) *out++ = static_cast<char>(bits >> shift);
  return out;
}

// Decodes groups that hold nothing but characters of the alphabet.
void decodeWholeGroups(const char*& in, const char* end, char*& out) {
  decodeBase64Blocks(in, end, out);
  while (end - in >= 4) {
    const std::uint32_t a = valueOf(in[0]), b = valueOf(in[1]), c = valueOf(in[2]),
                        d = valueOf(in[3]);
    if ((a | b | c | d) >= 64) return;
    out = writeBytes(out, a << 18 | b << 12 | c << 6 | d, 3);
    in += 4;
  }
}

}  // namespace

std::string encodeBase64(std::string_view bytes) {
  std::string result((bytes.size() + 2) / 3 * 4, '=');
  const char* in = bytes.data();
  const char* const end = in + bytes.size();
  char* out = result.data();
  encodeBase64Blocks(in, end, out);
  const auto byte = [](char c) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(c));
  };
  while (in != end) {
    const std::ptrdiff_t left = end - in;
    const std::uint32_t bits =
        byte(in[0]) << 16 | (left > 1 ? byte(in[1]) << 8 : 0) | (left > 2 ? byte(in[2]) : 0);
    out[0] = kBase64Alphabet[bits >> 18];
    out[1] = kBase64Alphabet[bits >> 12 & 63];
    if (left > 1) out[2] = kBase64Alphabet[bits >> 6 & 63];
    if (left > 2) out[3] = kBase64Alphabet[bits & 63];
    out += 4;
    in += left > 3 ? 3 : left;
  }
  return result;
}

std::optional<std::size_t> decodeBase64(std::string_view text, Base64Leniency leniency, char* to) {
  const bool skipsForeign = leniency >= Base64Leniency::foreignCharacters;
  const bool skipsPadding = leniency == Base64Leniency::noPadding;
  const bool refuses = leniency <= Base64Leniency::foreignCharacters;
  const char* in = text.data();
  const char* const end = in + text.size();
  char* out = to;
  std::uint32_t group = 0;
  int count = 0;    // characters of the group at hand
  int padding = 0;  // "=" since the last character that was not one, white space aside
  while (in != end) {
    if (count == 0 && padding == 0) {
      decodeWholeGroups(in, end, out);
      if (in == end) break;
    }
    std::uint32_t value = valueOf(*in++);
    if (value == kSpace || (value == kPadding && skipsPadding)) continue;
    if (value == kForeign || value == kRareSpace) {
      if (value == kForeign && !skipsForeign) return std::nullopt;
      if (!refuses) padding = 0;
      continue;
    }
    if (value == kPadding) {
      if (refuses && count < 2) return std::nullopt;
      ++padding;
      value = 0;
    } else {
      if (refuses && padding > 0) return std::nullopt;
      padding = 0;
    }
    group = group << 6 | value;
    if (++count < 4) continue;
    out = writeBytes(out, group, 3 - std::min(padding, 2));
    group = 0;
    count = 0;
  }
  if (refuses && count > 0) return std::nullopt;
  if (skipsPadding && count == 3) out = writeBytes(out, group << 6, 2);
  if (skipsPadding && count == 2) out = writeBytes(out, group << 12, 1);
  return static_cast<std::size_t>(out - to);
}

}  // namespace korvane
