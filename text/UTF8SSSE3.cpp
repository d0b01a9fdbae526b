#include "text/SSSE3.h"

#ifdef KORVANE_HAS_SSSE3
#include <cstdint>

#include "text/UTF8.h"

namespace korvane::ssse3 {
namespace {

// What can be wrong about two bytes that follow one another. Each table below tells for the values
// of one half byte which of these errors it can be part of; there is an error where it can be in
// all three half bytes looked at: both of the first byte and the higher of the second.
constexpr std::uint8_t kTooShort = 1;            // a character ends too early
constexpr std::uint8_t kTooLong = 2;             // a continuation after an ASCII character
constexpr std::uint8_t kOverlong3 = 4;           // E0 80 to E0 9F
constexpr std::uint8_t kTooLarge = 8;            // F4 90 and above
constexpr std::uint8_t kSurrogate = 16;          // ED A0 and above
constexpr std::uint8_t kOverlong2 = 32;          // C0, C1
constexpr std::uint8_t kTooLargeLead = 64;       // F5 and above, before 80 to 8F
constexpr std::uint8_t kOverlong4 = 64;          // F0 80 to F0 8F
constexpr std::uint8_t kTwoContinuations = 128;  // right only behind a lead of three or four
constexpr std::uint8_t kAnyLow = kTooShort | kTooLong | kTwoContinuations;

alignas(16) constexpr std::uint8_t kFirstHigh[16] = {
    kTooLong,
    kTooLong,
    kTooLong,
    kTooLong,
    kTooLong,
    kTooLong,
    kTooLong,
    kTooLong,
    kTwoContinuations,
    kTwoContinuations,
    kTwoContinuations,
    kTwoContinuations,
    kTooShort | kOverlong2,
    kTooShort,
    kTooShort | kOverlong3 | kSurrogate,
    kTooShort | kTooLarge | kTooLargeLead | kOverlong4};

constexpr std::uint8_t kLargeLead = kAnyLow | kTooLarge | kTooLargeLead;
alignas(16) constexpr std::uint8_t kFirstLow[16] = {kAnyLow | kOverlong3 | kOverlong2 | kOverlong4,
                                                    kAnyLow | kOverlong2,
                                                    kAnyLow,
                                                    kAnyLow,
                                                    kAnyLow | kTooLarge,
                                                    kLargeLead,
                                                    kLargeLead,
                                                    kLargeLead,
                                                    kLargeLead,
                                                    kLargeLead,
                                                    kLargeLead,
                                                    kLargeLead,
                                                    kLargeLead,
                                                    kLargeLead | kSurrogate,
                                                    kLargeLead,
                                                    kLargeLead};

constexpr std::uint8_t kContinuation = kTooLong | kOverlong2 | kTwoContinuations;
alignas(16) constexpr std::uint8_t kSecondHigh[16] = {
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kContinuation | kOverlong3 | kTooLargeLead | kOverlong4,
    kContinuation | kOverlong3 | kTooLarge,
    kContinuation | kSurrogate | kTooLarge,
    kContinuation | kSurrogate | kTooLarge,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort};

// Not zero where a byte of `bytes`, behind those of `before`, is wrong.
KORVANE_SSSE3 __m128i errors(__m128i bytes, __m128i before) {
  const __m128i half = _mm_set1_epi8(0x0F);
  const __m128i first = _mm_alignr_epi8(bytes, before, 15);
  const auto high = [&](__m128i of)
                        KORVANE_SSSE3 { return _mm_and_si128(_mm_srli_epi16(of, 4), half); };
  const __m128i wrong =
      _mm_and_si128(_mm_and_si128(_mm_shuffle_epi8(load(kFirstHigh), high(first)),
                                  _mm_shuffle_epi8(load(kFirstLow), _mm_and_si128(first, half))),
                    _mm_shuffle_epi8(load(kSecondHigh), high(bytes)));
  // Two or three bytes behind a lead of three or four two continuations in a row must be, and
  // nowhere else: there the highest bit is set by both or by none.
  const __m128i third = _mm_subs_epu8(_mm_alignr_epi8(bytes, before, 14), _mm_set1_epi8(0x60));
  const __m128i fourth = _mm_subs_epu8(_mm_alignr_epi8(bytes, before, 13), _mm_set1_epi8(0x70));
  const __m128i must = _mm_and_si128(_mm_or_si128(third, fourth), _mm_set1_epi8(-128));
  return _mm_xor_si128(must, wrong);
}

}  // namespace

KORVANE_SSSE3 bool skipUTF8(std::string_view& bytes) {
  __m128i before = _mm_setzero_si128();
  __m128i wrong = _mm_setzero_si128();
  std::size_t at = 0;
  for (; bytes.size() - at >= 16; at += 16) {
    const __m128i block = load(bytes.data() + at);
    // Two blocks of ASCII in a row have nothing to tell.
    if (_mm_movemask_epi8(_mm_or_si128(block, before)) != 0) {
      wrong = _mm_or_si128(wrong, errors(block, before));
    }
    before = block;
  }
  if (_mm_movemask_epi8(_mm_cmpeq_epi8(wrong, _mm_setzero_si128())) != 0xFFFF) return false;
  // The last character may go on behind the blocks.
  for (int back = 0; back < 4 && at > 0; ++back) {
    --at;
    if (!isUTF8Continuation(bytes[at])) break;
  }
  bytes.remove_prefix(at);
  return true;
}

}  // namespace korvane::ssse3
#endif
