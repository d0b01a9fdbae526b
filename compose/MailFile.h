#pragma once

#include <string>

#include "compose/LeftOut.h"
#include "compose/MailDraft.h"

namespace korvane {

enum class MailFileKind {
  /// With "X-Unsent: 1", which makes a mail client compose the message instead of showing it, and
  /// lines ended by CR LF.
  unsent,
  /// Without it, and lines ended by LF, as terminal programs take a draft.
  draft,
};

/// Writes a message as one file (RFC 5322, 2045, 2231) to a descriptor that is open for writing: no
/// "From:", texts in UTF-8, a multipart/alternative of the plain and the HTML form, inside a
/// multipart/mixed where there are attachments. These are written in base64, in the order given,
/// with the types that shared-mime-info tells. One that cannot be read is left out.
///
/// The memory needed does not depend on the attachments' sizes. Throws FileFailure where the file
/// cannot be written. Any thread may call.
void writeMailFile(const MailDraft& draft, MailFileKind kind, int file, LeftOutList& leftOut);

/// The MIME type of a file, by its name and its beginning. Never one of a message or a multipart,
/// which could not be written in base64: "application/octet-stream" then.
std::string mimeTypeOf(const std::string& name, int file);

}  // namespace korvane
