#include "linux/detail/MainBundle.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "support/OtherEnvironment.h"
#include "support/Places.h"

namespace korvane {
namespace {

using testing::withEnvironment;

const std::filesystem::path kShare = std::filesystem::path(KORVANE_BINARY_DIR) / "share";

bool translates(const std::vector<std::pair<std::string, std::string>>& expected) {
  MainBundle bundle({}, kShare);
  for (const auto& [key, translation] : expected) {
    const std::string seen = bundle.localizedStringForKey(key);
    if (seen != translation) {
      std::fprintf(stderr, "\"%s\" is \"%s\"\n", key.c_str(), seen.c_str());
      return false;
    }
  }
  return true;
}

TEST(MainBundle, InfoDictionaryIsThatOfTheInstalledFile) {
  MainBundle bundle({}, kShare);
  EXPECT_EQ(bundle.objectForInfoDictionaryKey("CFBundleIdentifier"),
            Value("it.drelk.korvane.share"));
  EXPECT_TRUE(bundle.objectForInfoDictionaryKey("no such key").isAbsent());
}

TEST(MainBundle, IdentifierCanBeChosen) {
  MainBundle bundle("it.drelk.korvane.beta8.share", kShare);
  EXPECT_EQ(bundle.objectForInfoDictionaryKey("CFBundleIdentifier"),
            Value("it.drelk.korvane.beta8.share"));
  EXPECT_FALSE(bundle.objectForInfoDictionaryKey("CFBundleName").isAbsent());
}

TEST(MainBundle, WithoutAFileThereIsNoIdentifier) {
  MainBundle bundle({}, "/nonexistent");
  EXPECT_TRUE(bundle.objectForInfoDictionaryKey("CFBundleIdentifier").isAbsent());
  EXPECT_EQ(bundle.localizedStringForKey("No Mail"), "No Mail");
}

TEST(MainBundle, TextsAreTranslatedByTheRealCatalogues) {
  // The names of locales that may or may not be installed on this machine.
  withEnvironment({{"LANG", "de_DE.UTF-8"}}, [] {
    return translates({{"No subject", "Kein Betreff"}, {"No Name", "Kein Name"}});
  });
  withEnvironment({{"LC_ALL", "it_IT.UTF-8"}, {"LANG", "de_DE.UTF-8"}}, [] {
    return translates({{"No subject", "Nessun oggetto"}});
  });
  withEnvironment({{"LC_MESSAGES", "fr_CA.ISO-8859-1"}}, [] {
    return translates({{"No subject", "Aucun objet"}});
  });
  withEnvironment({{"LANG", "es_XX.UTF-8@euro"}}, [] {
    return translates({{"No Mail", "Sin dirección de correo"}});
  });
  withEnvironment({{"LANG", "C.UTF-8"}, {"LANGUAGE", "it:de"}}, [] {
    return translates({{"No Name", "Nessun nome"}});
  });
}

TEST(MainBundle, UntranslatedTextsAreTheKeysOrTheValue) {
  withEnvironment({{"LANG", "C"}, {"LANGUAGE", "de"}}, [] {
    return translates({{"No subject", "No subject"}});
  });
  withEnvironment({{"LANG", "pt_BR.UTF-8"}}, [] {
    return translates({{"No subject", "No subject"}});
  });
  withEnvironment({{"LANG", "de_DE.UTF-8"}}, [] {
    MainBundle bundle({}, kShare);
    return bundle.localizedStringForKey("unknown") == "unknown" &&
           bundle.localizedStringForKey("unknown", "value") == "value" &&
           bundle.localizedStringForKey("No Name", "value") == "Kein Name" &&
           bundle.localizedStringForKey("No Name", "value", "another table") == "value";
  });
}

TEST(MainBundle, EmptyKeyIsTheEmptyTextAndNotTheCataloguesHeader) {
  withEnvironment({{"LANG", "de_DE.UTF-8"}}, [] {
    MainBundle bundle({}, kShare);
    return bundle.localizedStringForKey("").empty() &&
           bundle.localizedStringForKey("", "value").empty();
  });
}

TEST(MainBundle, OnlyTheControllersInterfaceIsThere) {
  MainBundle bundle({}, kShare);
  EXPECT_TRUE(bundle.loadNibNamed("ShareViewController"));
  EXPECT_FALSE(bundle.loadNibNamed("Other"));
}

}  // namespace
}  // namespace korvane
