#include "compose/MailClients.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

TEST(MailClients, KnownByDesktopFlatpakAndSnapIdentifiers) {
  const std::pair<const char*, MailRoad> cases[] = {
      {"thunderbird", MailRoad::unsentFile},
      {"org.mozilla.Thunderbird", MailRoad::unsentFile},
      {"org.mozilla.thunderbird", MailRoad::unsentFile},
      {"net.thunderbird.Thunderbird", MailRoad::unsentFile},
      {"thunderbird_thunderbird", MailRoad::unsentFile},
      {"mozilla-thunderbird", MailRoad::unsentFile},
      {"eu.betterbird.Betterbird", MailRoad::unsentFile},
      {"userapp-Thunderbird-X3TG90", MailRoad::unsentFile},
      {"userapp-claws-mail-X3TG90", MailRoad::clawsMail},
      {"org.gnome.Evolution", MailRoad::mailtoAttached},
      {"org.gnome.Geary", MailRoad::mailtoAttached},
      {"geary_org.gnome.Geary", MailRoad::mailtoAttached},
      {"org.kde.kmail2", MailRoad::kmail},
      {"org.kde.kontact", MailRoad::kmail},
      {"claws-mail", MailRoad::clawsMail},
      {"sylpheed", MailRoad::sylpheed},
      {"mutt", MailRoad::draftFile},
      {"neomutt", MailRoad::draftFile},
  };
  for (const auto& [id, road] : cases) {
    ASSERT_NE(knownMailClient(id), nullptr) << id;
    EXPECT_EQ(knownMailClient(id)->road, road) << id;
  }
}

TEST(MailClients, OthersAreNotKnown) {
  for (const char* id : {"", "_", "firefox", "google-chrome", "kmail_view", "thunderbird2", "balsa",
                         "thunderbird.desktop", "userapp-", "userapp-x", "userapp--",
                         "userapp-firefox-X3TG90", "userapp-thunderbird"}) {
    EXPECT_EQ(knownMailClient(id), nullptr) << id;
  }
}

}  // namespace
}  // namespace korvane
