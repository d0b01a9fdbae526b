#pragma once

#include <cstddef>

namespace korvane::RequestUtils {

// The parts of URLEncodedString that take many bytes at a time where the processor can. What these
// leave is for the caller. Any thread may call.

/// Moves `in` behind bytes that were looked at and gives the number of those to be escaped.
std::size_t countEscapedBlocks(const char*& in, const char* end);

/// How many bytes behind the last one written may be overwritten.
inline constexpr std::size_t encodedBlockSlack = 16;

/// Encodes bytes from `in` on and moves `in` and `out` behind them.
void encodePercentBlocks(const char*& in, const char* end, char*& out);

}  // namespace korvane::RequestUtils
