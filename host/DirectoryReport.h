#pragma once

#include <memory>
#include <string>
#include <vector>

#include "extension/ExtensionUtilities.h"
#include "model/ExtensionAccount.h"

namespace korvane {

// The mail client's directory, shown to people and programs. The records are not changed.

using ExtensionAccounts = std::vector<std::shared_ptr<ExtensionAccount>>;

/// Lines of UTF-8 text for a terminal, each ended: an account's mail, name, type and state, and
/// below it its aliases. No accounts give no lines. What steers a terminal is made visible; a field
/// that is no text shows its text form, an unset or empty one "-".
std::string accountsText(const ExtensionAccounts& accounts);

/// The contacts by their display lines, then the groups by theirs with their members below them,
/// as lines of text in the same way. Either part has a heading, and is left out when it is empty.
std::string contactsText(const ExtensionDirectory& directory);

/// A JSON list (RFC 8259) and a line break. An account is an object of "mail", "name", "type",
/// "enabled" and "aliases", which is null where it could not be read, else a list of objects of
/// "mail", "name" and "account". Texts that the property list holds in another kind come as that
/// kind: numbers, booleans, lists, objects; dates as text, data in base64, and what JSON has no
/// word for (unset fields, infinity) as null.
std::string accountsJSON(const ExtensionAccounts& accounts);

/// A JSON object of "addresses" and "groups". An address is an object of "mail", "firstName",
/// "lastName", "company", "nickname", "rank" and "prettyprint", its display line; a group one of
/// "idx", "name", "prettyprint" and "addresses", which is null where they could not be read.
std::string contactsJSON(const ExtensionDirectory& directory);

}  // namespace korvane
