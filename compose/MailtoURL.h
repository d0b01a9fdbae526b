#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "compose/LeftOut.h"
#include "compose/MailDraft.h"

namespace korvane {

/// What one argument of a program may be, in bytes: the kernel ends it at 131,071, and a desktop
/// entry may put something before a URL.
inline constexpr std::size_t kMaxArgument = 130'000;

/// What a mailto: URL can say to the client that gets it.
struct MailtoForm {
  /// Absolute paths as that client sees them; each becomes an "attach=" with the file's URI.
  std::vector<std::string> attachments = {};
  bool bcc = true;
};

/// The mailto: URL (RFC 6068) of a draft's recipients, subject and plain text, at most kMaxArgument
/// bytes. Every value is percent-encoded, so that nothing in it ends it or begins another one. What
/// does not fit is left out: recipients and attachments whole, the text from some character on. Any
/// thread may call.
std::string mailtoURL(const MailDraft& draft, const MailtoForm& form, LeftOutList& leftOut);

/// The file: URI of an absolute path.
std::string fileURI(const std::string& path);

}  // namespace korvane
