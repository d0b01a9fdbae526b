#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

#include "host/ShareRequest.h"

// The protocol between KDE's Share menu (its framework is called Purpose) and a program that is one
// of its targets. Over a local socket comes the length of a message in decimal digits, a line
// break, and as many bytes of CBOR; back go lines of JSON about how far the work is, why it failed,
// or what came of it.
namespace korvane {

/// The longest message that is taken, bytes without the length: as much as a request may have.
inline constexpr std::size_t kMaxPurposeMessage = kMaxInput;

/// Reads one message from a socket: the bytes behind the length. A length over kMaxPurposeMessage
/// is refused before anything behind it is read, and memory is taken only for bytes that came.
/// Throws InputError when the message is refused, ends too early, cannot be read, or does not go on
/// for as long as `patience`.
std::string readPurposeMessage(int socket, std::chrono::milliseconds patience);

/// The request that a message asks for, with one item. The message is a map with any of these keys;
/// others are not looked at:
///
/// - "urls", "url": texts, one or many, under either key. A file: URL stands for its file, however
///   little of it is percent-encoded, and an absolute path for itself; a data: URL for what it
///   holds, a picture or a text; anything else is a link.
/// - "title": the title of the link; without a link it is a line of the message.
/// - "text": a text to go with it.
///
/// Throws InputError for bytes that are not such a map, for values of another kind, and for a
/// message with nothing to share. A data: URL that cannot be used is its own loss alone
/// (ShareRequest::unread).
ShareRequest requestOfPurposeMessage(std::string_view cbor);

// The lines that go back, each with its line break.

/// `part` is from 0 to 1.
std::string purposeProgress(double part);
/// Ends the work: why it failed, as a text for people.
std::string purposeFailure(std::string_view reason);
/// Ends the work.
std::string purposeDone();

}  // namespace korvane
