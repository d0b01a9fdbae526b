#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// The one place where texts from outside are made fit for messages and command lines. Pure: any
// thread may call.
namespace korvane {

/// What a file's name in a message holds at most, in bytes: what file systems allow, less room for
/// "_1" or ".zip".
inline constexpr std::size_t kMaxMailFileName = 240;

/// What a subject holds at most, in bytes.
inline constexpr std::size_t kMaxSubject = 4000;

/// The last component of a path of any bytes, as a file's name that every mail client takes: UTF-8
/// (U+FFFD for what is not), "_" for every control character and line separator, at most
/// kMaxMailFileName bytes, of which the extension is kept. Never empty, "." or "..": "file" then.
std::string mailFileName(std::string_view path);

/// The text on one line: every control character and line separator becomes a space, what is not
/// UTF-8 becomes U+FFFD, white space at both ends goes.
std::string oneLine(std::string_view text);

/// The text with line feeds as its only line ends and without control characters other than tabs;
/// what is not UTF-8 becomes U+FFFD.
std::string plainLines(std::string_view text);

/// The longest beginning of a UTF-8 text with at most that many bytes that cuts no character.
std::string_view truncated(std::string_view text, std::size_t maximumBytes);

/// Whether mail clients take a path as it is: UTF-8 without control characters.
bool isPlainPath(std::string_view path);

}  // namespace korvane
