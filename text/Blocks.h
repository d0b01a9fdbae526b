#pragma once

#include <cstddef>
#include <string_view>

// The long stretches of texts, many bytes at a time where the processor can. What these leave is
// for the caller, who does all of it where the processor cannot: then they do nothing. Compiled
// with KORVANE_PORTABLE they do nothing on any processor, so that tests see the callers do it all.
// Any thread may call.
namespace korvane {

/// Whether these do anything.
bool hasBlocks();

/// Encodes groups of three bytes from `in` on and moves `in` and `out` behind them. Writes nothing
/// beyond the four characters of each group of three bytes up to `end`.
void encodeBase64Blocks(const char*& in, const char* end, char*& out);

/// How many bytes behind the last one decoded may be overwritten.
inline constexpr std::size_t kBase64BlockSlack = 4;

/// Decodes groups of four characters, as long as there are nothing but characters of the alphabet,
/// and moves `in` and `out` behind them.
void decodeBase64Blocks(const char*& in, const char* end, char*& out);

/// Moves `in` behind bytes that were looked at and gives the number of those that percent encoding
/// escapes.
std::size_t countEscapedBlocks(const char*& in, const char* end);

/// How many bytes behind the last one written may be overwritten.
inline constexpr std::size_t kPercentBlockSlack = 16;

/// Percent-encodes bytes from `in` on and moves `in` and `out` behind them.
void encodePercentBlocks(const char*& in, const char* end, char*& out);

/// Replaces percent escapes, and "+" by `plus`, from `in` on, and moves `in` and `out` behind what
/// was done. False when an escape is malformed. Writes up to as many bytes as it reads.
bool decodePercentBlocks(const char*& in, const char* end, char*& out, char plus);

/// False when bytes at the beginning are certainly not UTF-8. Else those looked at are taken off
/// the text, up to the beginning of a character; at most some 20 bytes are left where it could look
/// at all.
bool skipUTF8Blocks(std::string_view& bytes);

}  // namespace korvane
