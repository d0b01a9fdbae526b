#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Value.h"

namespace korvane {

/// Everything that a file or, for "-", standard input gives until its end; pipes and devices are
/// read, too. Throws InputError where it cannot be read and above kMaxInput.
NSData readInput(const std::string& path);

/// The content of a regular file (links are followed). Throws InputError for anything else, without
/// ever waiting for it, where it cannot be read, and above kMaxInput.
NSData readRegularFile(const std::string& path);

/// What data of unknown origin is.
enum class DataKind { image, html, text, unknown };

/// Told from the content: the signature of an image format; else HTML where the first thing but
/// white space and comments is a tag of HTML; else text. Unknown is what is neither a text nor an
/// image that the Platform can decode.
DataKind kindOfData(const NSData& data);

/// The text in UTF-8, without a byte order mark: UTF-8, UTF-16 and UTF-32 with their marks, and
/// Windows-1252, the usual encoding of older texts, for anything else. Nothing for data with NUL
/// characters, which is not a text.
std::optional<std::string> decodeText(const NSData& data);
std::optional<std::string> decodeText(std::string_view bytes);

}  // namespace korvane
