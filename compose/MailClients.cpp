#include "compose/MailClients.h"

#include "text/ASCII.h"

namespace korvane {
namespace {

constexpr MailClient kClients[] = {
    {"thunderbird", MailRoad::unsentFile},
    {"org.mozilla.Thunderbird", MailRoad::unsentFile},
    {"net.thunderbird.Thunderbird", MailRoad::unsentFile},
    {"mozilla-thunderbird", MailRoad::unsentFile},
    {"thunderbird_thunderbird", MailRoad::unsentFile},
    {"eu.betterbird.Betterbird", MailRoad::unsentFile},
    {"betterbird", MailRoad::unsentFile},
    {"org.gnome.Evolution", MailRoad::mailtoAttached},
    {"evolution", MailRoad::mailtoAttached},
    {"org.gnome.Geary", MailRoad::mailtoAttached},
    {"geary", MailRoad::mailtoAttached},
    {"org.kde.kmail2", MailRoad::kmail, "kmail"},
    {"org.kde.kmail", MailRoad::kmail, "kmail"},
    {"org.kde.kontact", MailRoad::kmail, "kmail"},
    {"claws-mail", MailRoad::clawsMail, "claws-mail"},
    {"org.claws_mail.Claws-Mail", MailRoad::clawsMail, "claws-mail"},
    {"sylpheed", MailRoad::sylpheed, "sylpheed"},
    {"mutt", MailRoad::draftFile, "mutt"},
    {"neomutt", MailRoad::draftFile, "neomutt"},
};

}  // namespace

const MailClient* knownMailClient(std::string_view id) {
  for (const MailClient& client : kClients) {
    if (equalIgnoringCase(client.id, id)) return &client;
  }
  constexpr std::string_view kOwnEntry = "userapp-";
  if (const auto dash = id.rfind('-'); id.starts_with(kOwnEntry) && dash >= kOwnEntry.size()) {
    return knownMailClient(id.substr(kOwnEntry.size(), dash - kOwnEntry.size()));
  }
  const auto mark = id.find('_');
  return mark == id.npos ? nullptr : knownMailClient(id.substr(mark + 1));
}

}  // namespace korvane
