#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "host/ShareRequest.h"

// The messages between a browser's extension and a program ("native messaging", as Chromium and
// Firefox have it): a length of four bytes in the machine's own order, then as many bytes of JSON
// in UTF-8, in both directions.
namespace korvane {

/// The longest message that is taken from an extension, and the longest answer that browsers pass
/// on to one; bytes without the length.
inline constexpr std::size_t kMaxBrowserMessage = std::size_t{64} << 20;
inline constexpr std::size_t kMaxBrowserAnswer = std::size_t{1} << 20;

/// Reads one message from a file descriptor: the bytes behind the length. A length over
/// kMaxBrowserMessage is refused before anything behind it is read, and memory is taken only for
/// bytes that came. Throws InputError when the message is refused, ends too early or cannot be
/// read.
std::string readBrowserMessage(int file);

/// The request that a message asks for, with one item. The message is an object with any of these
/// keys, each a text:
///
/// - "title": the title of the page or link; control characters in it become spaces;
/// - "text", "html": what is selected, both ways; the text counts only where there is no HTML;
/// - "url": the address of the page, link or picture. Of the schemes http, https, ftp and mailto it
///   becomes a link, anything else a line of text: no page names a file of this machine;
/// - "imageData": an encoded image in base64 (RFC 4648, section 4).
///
/// Throws InputError for text that is not such an object, for a key that is not one of these or
/// given twice, and for a message with nothing to share. An image that cannot be decoded from
/// base64 is that image's loss alone (ShareRequest::unread).
ShareRequest requestOfBrowserMessage(std::string_view json);

/// An answer with its length in front. A `json` over kMaxBrowserAnswer is not an answer that could
/// be passed on: throws std::length_error.
std::string framedBrowserAnswer(std::string_view json);

}  // namespace korvane
