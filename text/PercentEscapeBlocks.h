#pragma once

namespace korvane {

/// The part of appendByReplacingPercentEscapes that takes many bytes at a time, where the processor
/// can; the caller does what this leaves. Replaces escapes, and "+" by `plus`, from `in` on, and
/// moves `in` and `out` behind what was done. False when an escape is malformed. Writes up to as
/// many bytes as it reads. Any thread may call.
bool replaceEscapeBlocks(const char*& in, const char* end, char*& out, char plus);

}  // namespace korvane
