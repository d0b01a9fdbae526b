#pragma once

#include <memory>
#include <string>
#include <vector>

#include "extension/ExtensionUtilities.h"
#include "host/Output.h"
#include "model/ExtensionAccount.h"

namespace korvane {

// The mail client's directory, shown to people and programs, record by record: of a text that a
// directory names many times no more than one copy is made. The records are not changed.

using ExtensionAccounts = std::vector<std::shared_ptr<ExtensionAccount>>;

/// Lines of UTF-8 text for a terminal, each ended: an account's mail, name, type and state, and
/// below it its aliases. No accounts give no lines. What steers a terminal is made visible; a field
/// that is not a text shows its text form, an unset or empty one "-".
void writeAccounts(const ExtensionAccounts& accounts, Output& output);

/// The contacts by their display lines, then the groups by theirs with their members below them,
/// as lines of text in the same way. Either part has a heading, and is left out when it is empty.
void writeContacts(const ExtensionDirectory& directory, Output& output);

/// A JSON list (RFC 8259) and a line break. An account is an object of "mail", "name", "type",
/// "enabled" and "aliases", which is null where it could not be read, else a list of objects of
/// "mail", "name" and "account". Texts that the property list holds in another kind come as that
/// kind: numbers, booleans, lists, objects; dates as text, data in base64, and what JSON has no
/// word for (unset fields, infinity) as null.
void writeAccountsJSON(const ExtensionAccounts& accounts, Output& output);

/// A JSON object of "addresses" and "groups". An address is an object of "mail", "firstName",
/// "lastName", "company", "nickname", "rank" and "prettyprint", its display line; a group one of
/// "idx", "name", "prettyprint" and "addresses", which is null where they could not be read.
void writeContactsJSON(const ExtensionDirectory& directory, Output& output);

}  // namespace korvane
