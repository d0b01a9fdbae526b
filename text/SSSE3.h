#pragma once

// The forms of the blocks for processors with SSSE3, for Blocks.cpp and the sources of them.

#if defined(__x86_64__) && !defined(KORVANE_PORTABLE)
#define KORVANE_HAS_SSSE3 1

#include <immintrin.h>

#include <cstddef>
#include <string_view>

// These instructions came after the first processors of this kind, so each function that has some
// is compiled for itself and called only where the processor has them.
#define KORVANE_SSSE3 __attribute__((target("ssse3")))

namespace korvane::ssse3 {

KORVANE_SSSE3 inline __m128i load(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i*>(from));
}
KORVANE_SSSE3 inline void store(void* to, __m128i bytes) {
  _mm_storeu_si128(static_cast<__m128i*>(to), bytes);
}

// As in Blocks.h.
void encodeBase64(const char*& in, const char* end, char*& out);
void decodeBase64(const char*& in, const char* end, char*& out);
std::size_t countEscaped(const char*& in, const char* end);
void encodePercent(const char*& in, const char* end, char*& out);
bool decodePercent(const char*& in, const char* end, char*& out, char plus);
bool skipUTF8(std::string_view& bytes);

}  // namespace korvane::ssse3
#endif
