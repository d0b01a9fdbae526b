#pragma once

#include <string_view>

namespace korvane {

/// What stands behind the ":" of a scheme's links.
enum class LinkForm {
  web,          // "//" and a host: http://a.example/
  hierarchy,    // "//" and anything
  mail,         // addresses, then a query: mailto:a@b.example?subject=x
  address,      // a mailbox, account or host, then parameters: sip:alice@a.example;transport=tcp
  messageId,    // mid:2020@a.example/part
  number,       // a telephone number: tel:+39-02-1234
  numbers,      // telephone numbers, then a query, or the query alone: sms:+15105550101?body=hello
  coordinates,  // geo:37.78,-122.39
  group,        // a newsgroup or a message of one: news:comp.lang.misc
  query,        // magnet:?xt=urn:btih:c12f
  typed,        // kind, "/" and identifier: matrix:u/alice:a.example
  token,        // one long word, then a query: bitcoin:175tWpb8K1S7NmH4Zx6rewF9WQrcZv245W
  name,         // any name, then a query: skype:echo123?call
  none,         // never a link
};

struct LinkScheme {
  std::string_view name;
  LinkForm form;
  /// Whether its links are kept in a document that is sent to others: what the receiver's programs
  /// open after asking, and which needs nothing that only the sender has.
  bool forDocuments;
};

/// What is known of a scheme, in any case; null for one that is not known. Every known scheme may
/// have "//" and anything behind it too, those of LinkForm::none aside. Any thread may call.
const LinkScheme* findLinkScheme(std::string_view scheme);

}  // namespace korvane
