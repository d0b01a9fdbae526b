#include "text/SSSE3.h"

#ifdef KORVANE_HAS_SSSE3
#include <array>
#include <cstdint>

namespace korvane::ssse3 {
namespace {

// For each choice of bytes out of eight, by the bits of a number: where the chosen ones stand, in
// order, and how many they are.
struct Choice {
  std::array<std::uint8_t, 8> positions;
  std::uint8_t count;
};
constexpr std::array<Choice, 256> kChoices = [] {
  std::array<Choice, 256> choices{};
  for (std::size_t bits = 0; bits < choices.size(); ++bits) {
    for (std::uint8_t position = 0; position < 8; ++position) {
      Choice& choice = choices[bits];
      if ((bits >> position & 1) != 0) choice.positions[choice.count++] = position;
    }
  }
  return choices;
}();

KORVANE_SSSE3 __m128i notAbove(__m128i bytes, char limit) {
  return _mm_cmpeq_epi8(_mm_min_epu8(bytes, _mm_set1_epi8(limit)), bytes);
}

// The values of hexadecimal digits, and which bytes are ones.
struct HexValues {
  __m128i values, valid;
};
KORVANE_SSSE3 HexValues hexValues(__m128i characters) {
  const __m128i digits = _mm_sub_epi8(characters, _mm_set1_epi8('0'));
  const __m128i letters =
      _mm_sub_epi8(_mm_or_si128(characters, _mm_set1_epi8(0x20)), _mm_set1_epi8('a'));
  const __m128i isDigit = notAbove(digits, 9);
  const __m128i isLetter = notAbove(letters, 5);
  return {_mm_or_si128(_mm_and_si128(isDigit, digits),
                       _mm_and_si128(isLetter, _mm_add_epi8(letters, _mm_set1_epi8(10)))),
          _mm_or_si128(isDigit, isLetter)};
}

KORVANE_SSSE3 char* storeChosen(char* out, __m128i bytes, unsigned chosen) {
  const Choice& choice = kChoices[chosen];
  const __m128i positions =
      _mm_loadl_epi64(reinterpret_cast<const __m128i*>(choice.positions.data()));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_shuffle_epi8(bytes, positions));
  return out + choice.count;
}

}  // namespace

KORVANE_SSSE3 bool decodePercent(const char*& in, const char* end, char*& out, char plus) {
  const __m128i percents = _mm_set1_epi8('%');
  const __m128i pluses = _mm_set1_epi8('+');
  const __m128i plusChange = _mm_set1_epi8(static_cast<char>('+' ^ plus));
  unsigned digits = 0;  // which of the bytes belong to an escape that began before them
  for (; end - in >= 18; in += 16) {
    const __m128i bytes = load(in);
    const HexValues high = hexValues(load(in + 1));
    const HexValues low = hexValues(load(in + 2));
    const __m128i isPercent = _mm_cmpeq_epi8(bytes, percents);
    const __m128i valid = _mm_and_si128(high.valid, low.valid);
    if (_mm_movemask_epi8(_mm_andnot_si128(valid, isPercent)) != 0) return false;

    // Each "%" becomes the byte that the two digits behind it stand for; those are left out.
    const __m128i escaped = _mm_or_si128(_mm_slli_epi16(high.values, 4), low.values);
    const __m128i plain =
        _mm_xor_si128(bytes, _mm_and_si128(_mm_cmpeq_epi8(bytes, pluses), plusChange));
    const __m128i replaced =
        _mm_or_si128(_mm_and_si128(isPercent, escaped), _mm_andnot_si128(isPercent, plain));
    const auto escapes = static_cast<unsigned>(_mm_movemask_epi8(isPercent));
    digits |= escapes << 1 | escapes << 2;
    out = storeChosen(out, replaced, ~digits & 0xFF);
    out = storeChosen(out, _mm_srli_si128(replaced, 8), ~digits >> 8 & 0xFF);
    digits >>= 16;
  }
  for (; digits != 0; digits >>= 1) ++in;
  return true;
}

}  // namespace korvane::ssse3
#endif
