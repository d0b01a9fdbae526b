#pragma once

#include <string>

#include "model/ExtensionMessage.h"

namespace korvane {

// A message as a command URL carries it, shown to people and programs. The file system is asked
// about every attachment (a relative path is taken from the working directory); one that cannot be
// looked at counts as missing. The record is not changed.

/// The message as lines of UTF-8 text for a terminal, the last one ended too: "Subject:", "From:",
/// "Account:", "To:", "Cc:", "Bcc:" ("-" for what the message does not carry), the attachments with
/// their sizes, then the bodies that are not empty. What steers a terminal is made visible.
std::string messageText(const ExtensionMessage& message);

/// The message as one JSON object (RFC 8259) and a line break. Members, in this order: "subject",
/// "from", "account", "to", "cc", "bcc" (the recipients as one text, each address followed by ";"),
/// "plainBody", "htmlBody" (texts, or null for what is absent), and "attachments", a list of
/// objects with "path", "exists" and "size" (bytes of a file; null for what is missing or no file).
std::string messageJSON(const ExtensionMessage& message);

}  // namespace korvane
