#pragma once

#include <string_view>

namespace korvane {

/// How a mail client is given a message.
enum class MailRoad {
  unsentFile,      // a message file, opened by its desktop entry
  mailtoAttached,  // a mailto: URL with "attach=", opened by its desktop entry
  kmail,           // its command line
  clawsMail,       // its command line, with a file for headers and text
  sylpheed,        // its command line, with a mailto: URL
  draftFile,       // a message file, by its command line, in a terminal
  mailto,          // a plain mailto: URL, opened by its desktop entry; no attachments
};

struct MailClient {
  /// Of the desktop entry, also the identifier of its Flatpak.
  std::string_view id;
  MailRoad road;
  /// The program, for roads by the command line.
  std::string_view program = {};
};

/// The mail client that a desktop entry's identifier (without ".desktop") belongs to, letters
/// compared without case; of a Snap's ("thunderbird_thunderbird") also by the part after the "_".
/// A client that has no entry of its own is given one by the desktop when somebody makes it the
/// default: "userapp-Thunderbird-X3TG90" is Thunderbird's.
/// Null for one that is not known. Any thread may call.
const MailClient* knownMailClient(std::string_view id);

}  // namespace korvane
