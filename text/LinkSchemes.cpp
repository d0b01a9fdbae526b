#include "text/LinkSchemes.h"

#include <algorithm>
#include <array>

#include "text/ASCII.h"

namespace korvane {
namespace {

using enum LinkForm;

constexpr std::array kSchemes = {
    // The most frequent first.
    LinkScheme{"https", web, true},
    LinkScheme{"http", web, true},
    LinkScheme{"mailto", mail, true},
    LinkScheme{"ftp", web, true},
    LinkScheme{"tel", number, true},

    // Talking to people.
    LinkScheme{"sms", numbers, true},
    LinkScheme{"smsto", numbers, true},
    LinkScheme{"mms", numbers, true},
    LinkScheme{"mmsto", numbers, true},
    LinkScheme{"callto", name, true},
    LinkScheme{"fax", number, true},
    LinkScheme{"sip", address, true},
    LinkScheme{"sips", address, true},
    LinkScheme{"xmpp", address, true},
    LinkScheme{"im", address, true},
    LinkScheme{"pres", address, true},
    LinkScheme{"acct", address, true},
    LinkScheme{"skype", name, true},
    LinkScheme{"facetime", address, true},
    LinkScheme{"facetime-audio", address, true},
    LinkScheme{"matrix", typed, true},
    LinkScheme{"irc", hierarchy, true},
    LinkScheme{"ircs", hierarchy, true},
    LinkScheme{"mumble", hierarchy, true},

    // Messages, news, dates and places.
    LinkScheme{"mid", messageId, true},
    LinkScheme{"news", group, true},
    LinkScheme{"snews", group, true},
    LinkScheme{"nntp", group, true},
    LinkScheme{"webcal", address, true},
    LinkScheme{"webcals", address, true},
    LinkScheme{"geo", coordinates, true},
    LinkScheme{"maps", hierarchy, true},

    // Files of others.
    LinkScheme{"ftps", hierarchy, true},
    LinkScheme{"sftp", hierarchy, true},
    LinkScheme{"gopher", hierarchy, true},
    LinkScheme{"gemini", hierarchy, true},
    LinkScheme{"magnet", query, true},
    LinkScheme{"ed2k", hierarchy, true},
    LinkScheme{"ipfs", hierarchy, true},
    LinkScheme{"ipns", hierarchy, true},
    LinkScheme{"spotify", name, true},

    // Payments and keys, which programs show before they act.
    LinkScheme{"bitcoin", token, true},
    LinkScheme{"bitcoincash", token, true},
    LinkScheme{"dogecoin", token, true},
    LinkScheme{"ethereum", token, true},
    LinkScheme{"lightning", token, true},
    LinkScheme{"litecoin", token, true},
    LinkScheme{"monero", token, true},
    LinkScheme{"openpgp4fpr", token, true},

    // Links here, but not for others: they reach into this machine, log in somewhere or carry
    // another link, which may be of any scheme.
    LinkScheme{"feed", address, false},
    LinkScheme{"file", hierarchy, false},
    LinkScheme{"korvane", hierarchy, false},
    LinkScheme{"git", hierarchy, false},
    LinkScheme{"ldap", hierarchy, false},
    LinkScheme{"ldaps", hierarchy, false},
    LinkScheme{"rsync", hierarchy, false},
    LinkScheme{"rtsp", hierarchy, false},
    LinkScheme{"smb", hierarchy, false},
    LinkScheme{"ssh", hierarchy, false},
    LinkScheme{"svn", hierarchy, false},
    LinkScheme{"telnet", hierarchy, false},

    // They run something, carry a document, show another document in a way of their own, or name
    // what no program opens.
    LinkScheme{"javascript", none, false},
    LinkScheme{"vbscript", none, false},
    LinkScheme{"jscript", none, false},
    LinkScheme{"livescript", none, false},
    LinkScheme{"data", none, false},
    LinkScheme{"blob", none, false},
    LinkScheme{"filesystem", none, false},
    LinkScheme{"jar", none, false},
    LinkScheme{"view-source", none, false},
    LinkScheme{"cid", none, false},
    LinkScheme{"doi", none, false},
    LinkScheme{"tag", none, false},
    LinkScheme{"urn", none, false},
};

}  // namespace

const LinkScheme* findLinkScheme(std::string_view scheme) {
  const auto* const found =
      std::find_if(kSchemes.begin(), kSchemes.end(),
                   [&](const LinkScheme& known) { return equalIgnoringCase(scheme, known.name); });
  return found == kSchemes.end() ? nullptr : found;
}

}  // namespace korvane
