#include "text/SSSE3.h"

#ifdef KORVANE_HAS_SSSE3

namespace korvane::ssse3 {
namespace {

// Twelve bytes, the first of sixteen, as sixteen numbers of six bits.
KORVANE_SSSE3 __m128i splitIntoSixBits(__m128i bytes) {
  // Each group of three bytes abc is spread over four, as b a c b.
  const __m128i spread =
      _mm_shuffle_epi8(bytes, _mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10));
  // In each pair of bytes one multiplication shifts both numbers to their places: the first and
  // third of a group to the right, the second and fourth to the left.
  const __m128i odd = _mm_mulhi_epu16(_mm_and_si128(spread, _mm_set1_epi32(0x0fc0fc00)),
                                      _mm_set1_epi32(0x04000040));
  const __m128i even = _mm_mullo_epi16(_mm_and_si128(spread, _mm_set1_epi32(0x003f03f0)),
                                       _mm_set1_epi32(0x01000010));
  return _mm_or_si128(odd, even);
}

// The letters of sixteen numbers below 64: each number plus the distance that its range of the
// alphabet has from it. The ranges: 13 for A to Z, 0 for a to z, 1 to 10 for the digits, 11 for
// "+", 12 for "/".
KORVANE_SSSE3 __m128i toAlphabet(__m128i numbers) {
  const __m128i aboveLetters = _mm_subs_epu8(numbers, _mm_set1_epi8(51));
  const __m128i upperCase = _mm_cmpgt_epi8(_mm_set1_epi8(26), numbers);
  const __m128i range = _mm_or_si128(aboveLetters, _mm_and_si128(upperCase, _mm_set1_epi8(13)));
  constexpr char kDigit = '0' - 52;
  const __m128i distances =
      _mm_setr_epi8('a' - 26, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit,
                    kDigit, kDigit, '+' - 62, '/' - 63, 'A', 0, 0);
  return _mm_add_epi8(numbers, _mm_shuffle_epi8(distances, range));
}

}  // namespace

KORVANE_SSSE3 void encodeBase64(const char*& in, const char* end, char*& out) {
  for (; end - in >= 16; in += 12, out += 16) {
    const __m128i bytes = load(in);
    store(out, toAlphabet(splitIntoSixBits(bytes)));
  }
}

namespace {

// The numbers of sixteen letters; false when one of them is outside the alphabet.
KORVANE_SSSE3 bool fromAlphabet(__m128i letters, __m128i& numbers) {
  // A bit for each set of upper halves of a byte that go with the same lower halves. A letter is
  // foreign where its two halves have a bit in common.
  const __m128i foreignLow = _mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                           0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
  const __m128i foreignHigh = _mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10,
                                            0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
  const __m128i slash = _mm_set1_epi8(0x2f);  // also the mask of half a byte: bit 5 plays no part
  const __m128i high = _mm_and_si128(_mm_srli_epi32(letters, 4), slash);
  const __m128i low = _mm_and_si128(letters, slash);
  const __m128i foreign =
      _mm_and_si128(_mm_shuffle_epi8(foreignLow, low), _mm_shuffle_epi8(foreignHigh, high));
  if (_mm_movemask_epi8(_mm_cmpgt_epi8(foreign, _mm_setzero_si128())) != 0) return false;
  // The distance to the number goes by the upper half, but "+" and "/" have the same one.
  const __m128i distances = _mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A', 26 - 'a',
                                          26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0);
  const __m128i range = _mm_add_epi8(_mm_cmpeq_epi8(letters, slash), high);
  numbers = _mm_add_epi8(letters, _mm_shuffle_epi8(distances, range));
  return true;
}

}  // namespace

KORVANE_SSSE3 void decodeBase64(const char*& in, const char* end, char*& out) {
  __m128i numbers;
  for (; end - in >= 16; in += 16, out += 12) {
    const __m128i letters = load(in);
    if (!fromAlphabet(letters, numbers)) return;
    // Pairs of six bits to twelve, pairs of twelve to 24, whose bytes then are put in order.
    const __m128i twelve = _mm_maddubs_epi16(numbers, _mm_set1_epi32(0x01400140));
    const __m128i groups = _mm_madd_epi16(twelve, _mm_set1_epi32(0x00011000));
    const __m128i bytes = _mm_shuffle_epi8(
        groups, _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
    store(out, bytes);
  }
}

}  // namespace korvane::ssse3
#endif
