#pragma once

#include <string_view>

namespace korvane {

/// The part of isUTF8 that takes many bytes at a time, where the processor can: false when bytes at
/// the beginning are certainly not UTF-8. Else those it has looked at are taken off the text, up to
/// the beginning of a character; at most some 20 bytes are left where it could look at all. Any
/// thread may call.
bool skipUTF8Blocks(std::string_view& bytes);

}  // namespace korvane
