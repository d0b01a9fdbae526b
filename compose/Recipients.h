#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "compose/LeftOut.h"

namespace korvane {

/// One recipient.
struct Mailbox {
  /// The person's name, UTF-8 on one line; may be empty.
  std::string name;
  /// The address, ASCII: "ann@a.example".
  std::string address;

  friend bool operator==(const Mailbox&, const Mailbox&) = default;
};

/// The recipients of a text as a command URL carries it, each followed by ";". Only a piece that is
/// exactly one mailbox is taken; every other one is left out. A ";" inside quotes separates
/// nothing. Any thread may call.
std::vector<Mailbox> mailboxesOf(std::string_view text, LeftOutList& leftOut);

/// A mailbox as people and mail clients read it: `ann@a.example`, `"Ann, B" <ann@a.example>`. No
/// option of a command line and no URL begins so, for an address that begins with "-" stands in
/// "<>".
std::string mailboxText(const Mailbox& mailbox);

/// The mailboxes' texts with ", " between.
std::string mailboxesText(const std::vector<Mailbox>& mailboxes);

}  // namespace korvane
