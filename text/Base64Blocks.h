#pragma once

#include <cstddef>

namespace korvane {

// The long stretches of base64 texts, many bytes at a time where the processor can. What these
// leave is for the caller, who does all of it where the processor cannot. Any thread may call.
// Compiled with KORVANE_PORTABLE, these and the other blocks do nothing on any processor, so that
// the tests can see the callers do it all.

/// Encodes groups of three bytes from `in` on and moves `in` and `out` behind them. Writes nothing
/// beyond the four characters of each group of three bytes up to `end`.
void encodeBase64Blocks(const char*& in, const char* end, char*& out);

/// How many bytes behind the last one decoded may be overwritten.
inline constexpr std::size_t base64BlockSlack = 4;

/// Decodes groups of four characters, as long as there are nothing but characters of the alphabet,
/// and moves `in` and `out` behind them.
void decodeBase64Blocks(const char*& in, const char* end, char*& out);

}  // namespace korvane
