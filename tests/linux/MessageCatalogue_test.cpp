#include "linux/detail/MessageCatalogue.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/detail/Translation.h"
#include "support/OtherEnvironment.h"
#include "support/Places.h"

namespace korvane {
namespace {

using testing::withEnvironment;

const std::filesystem::path kShare = std::filesystem::path(KORVANE_BINARY_DIR) / "share";

// That the language is the person's is seen in tests/linux/MainBundle_test.cpp.

TEST(MessageCatalogue, TextsThatAreNotInItAreTheirOwnTranslation) {
  withEnvironment({{"LANG", "de_DE.UTF-8"}}, [] {
    const MessageCatalogue catalogue(kShare);
    const char* const text = "not in the catalogue";
    return catalogue.translationOf(text) == text &&
           catalogue.translationOf("one", "many", 1) == std::string("one") &&
           catalogue.translationOf("one", "many", 2) == std::string("many") &&
           catalogue.translationOf("No subject") == std::string("Kein Betreff");
  });
}

TEST(MessageCatalogue, WithoutCataloguesEveryTextIsItsOwnTranslation) {
  withEnvironment({{"LANG", "de_DE.UTF-8"}}, [] {
    const MessageCatalogue catalogue("/nonexistent");
    return catalogue.translationOf("No subject") == std::string("No subject");
  });
}

TEST(MessageCatalogue, DataFolderIsBesideTheProgramsOwn) {
  EXPECT_EQ(programDataFolder(),
            std::filesystem::canonical("/proc/self/exe").parent_path().parent_path() / "share");
}

TEST(MessageCatalogue, AProgramsTextsAreTranslatedByTheCatalogueBesideIt) {
  withEnvironment({{"LANG", "fr_FR.UTF-8"}}, [] {
    if (translated("No subject") != "No subject") return false;
    useMessageCatalogue();
    useMessageCatalogue();
    return translated("No subject") == "Aucun objet";
  });
  withEnvironment({{"LC_ALL", "C"}, {"LANGUAGE", "fr"}}, [] {
    useMessageCatalogue();
    return translated("No subject") == "No subject";
  });
}

}  // namespace
}  // namespace korvane
