#pragma once

#include <string>
#include <string_view>

namespace korvane {

/// The character that a byte stands for in windows-1252. The five bytes that it does not assign
/// give the control characters of their numbers, U+0081 and so on, as browsers have it.
char32_t windows1252Character(unsigned char byte);

/// The text of bytes in windows-1252, the usual encoding of older texts, in UTF-8. Any thread may
/// call.
std::string textOfWindows1252(std::string_view bytes);

}  // namespace korvane
