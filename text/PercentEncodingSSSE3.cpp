#include "text/SSSE3.h"

#ifdef KORVANE_HAS_SSSE3
#include <array>
#include <cstdint>

namespace korvane::ssse3 {
namespace {

// How four bytes are written, by four bits that tell which of them are escaped. Each byte comes
// with what it may need: itself, its two digits, "%".
struct Pattern {
  alignas(16) std::array<std::uint8_t, 16> positions;
  std::size_t size;
};
constexpr std::array<Pattern, 16> kPatterns = [] {
  std::array<Pattern, 16> patterns{};
  for (std::size_t escaped = 0; escaped < patterns.size(); ++escaped) {
    Pattern& pattern = patterns[escaped];
    for (std::uint8_t byte = 0; byte < 4; ++byte) {
      const auto first = static_cast<std::uint8_t>(4 * byte);
      if ((escaped >> byte & 1) == 0) {
        pattern.positions[pattern.size++] = first;
      } else {
        for (const int offset : {3, 1, 2}) {
          pattern.positions[pattern.size++] = static_cast<std::uint8_t>(first + offset);
        }
      }
    }
  }
  return patterns;
}();

KORVANE_SSSE3 __m128i highHalves(__m128i bytes) {
  return _mm_and_si128(_mm_srli_epi16(bytes, 4), _mm_set1_epi8(0x0F));
}
KORVANE_SSSE3 __m128i lowHalves(__m128i bytes) { return _mm_and_si128(bytes, _mm_set1_epi8(0x0F)); }

// All bits set in each byte that is not a letter, a digit, "-", ".", "_" or "~". Each upper half of
// a byte has a bit that says with which lower halves it makes one of these: 1 for "-", "." (2x), 2
// for the digits (3x), 4 for A to O and a to o (4x, 6x), 8 for P to Z, "_" (5x), 16 for p to z, "~"
// (7x).
KORVANE_SSSE3 __m128i escapedBytes(__m128i bytes) {
  const __m128i ofHigh = _mm_setr_epi8(0, 0, 1, 2, 4, 8, 4, 16, 0, 0, 0, 0, 0, 0, 0, 0);
  const __m128i ofLow = _mm_setr_epi8(26, 30, 30, 30, 30, 30, 30, 30, 30, 30, 28, 4, 4, 5, 21, 12);
  const __m128i stays = _mm_and_si128(_mm_shuffle_epi8(ofHigh, highHalves(bytes)),
                                      _mm_shuffle_epi8(ofLow, lowHalves(bytes)));
  return _mm_cmpeq_epi8(stays, _mm_setzero_si128());
}

}  // namespace

KORVANE_SSSE3 std::size_t countEscaped(const char*& in, const char* end) {
  const __m128i zero = _mm_setzero_si128();
  __m128i counts = zero;  // two of them
  for (; end - in >= 16; in += 16) {
    const __m128i ones = _mm_and_si128(escapedBytes(load(in)), _mm_set1_epi8(1));
    counts = _mm_add_epi64(counts, _mm_sad_epu8(ones, zero));
  }
  return static_cast<std::size_t>(_mm_cvtsi128_si64(counts) +
                                  _mm_cvtsi128_si64(_mm_unpackhi_epi64(counts, counts)));
}

namespace {

KORVANE_SSSE3 char* storeFour(char* out, __m128i bytes, unsigned escaped) {
  const Pattern& pattern = kPatterns[escaped & 15];
  const __m128i positions =
      _mm_load_si128(reinterpret_cast<const __m128i*>(pattern.positions.data()));
  store(out, _mm_shuffle_epi8(bytes, positions));
  return out + pattern.size;
}

}  // namespace

KORVANE_SSSE3 void encodePercent(const char*& in, const char* end, char*& out) {
  const __m128i digits =
      _mm_setr_epi8('0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'A', 'B', 'C', 'D', 'E', 'F');
  const __m128i percents = _mm_set1_epi8('%');
  for (; end - in >= 16; in += 16) {
    const __m128i bytes = load(in);
    const auto escaped = static_cast<unsigned>(_mm_movemask_epi8(escapedBytes(bytes)));
    const __m128i high = _mm_shuffle_epi8(digits, highHalves(bytes));
    const __m128i low = _mm_shuffle_epi8(digits, lowHalves(bytes));
    // Byte, first digit, second digit, "%" of each byte in a row.
    const __m128i front8 = _mm_unpacklo_epi8(bytes, high);
    const __m128i front8Rest = _mm_unpacklo_epi8(low, percents);
    const __m128i back8 = _mm_unpackhi_epi8(bytes, high);
    const __m128i back8Rest = _mm_unpackhi_epi8(low, percents);
    out = storeFour(out, _mm_unpacklo_epi16(front8, front8Rest), escaped);
    out = storeFour(out, _mm_unpackhi_epi16(front8, front8Rest), escaped >> 4);
    out = storeFour(out, _mm_unpacklo_epi16(back8, back8Rest), escaped >> 8);
    out = storeFour(out, _mm_unpackhi_epi16(back8, back8Rest), escaped >> 12);
  }
}

}  // namespace korvane::ssse3
#endif
