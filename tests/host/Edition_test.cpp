#include "host/Edition.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

// The tests are built with the regular edition, whose names are the plain ones;
// tests/package/editions sees those of another.
TEST(Edition, TheRegularEditionHasThePlainNames) {
  EXPECT_EQ(ownName("korvane-share"), "korvane-share");
  EXPECT_EQ(withOwnName("Usage: korvane-share\n  korvane-share report.pdf\n", "korvane-share"),
            "Usage: korvane-share\n  korvane-share report.pdf\n");
}

TEST(Edition, TextsWithoutTheProgramStayWhole) {
  for (const char* text : {"", "korvane", "korvane-shared", "korvane-share-request(5)"}) {
    EXPECT_EQ(withOwnName(text, "korvane-share"), text);
  }
  EXPECT_EQ(withOwnName("a text", ""), "a text");
}

TEST(Edition, ServicesAreThoseOfTheInstalledInfoDictionaryUnlessAnIdentifierIsGiven) {
  EXPECT_EQ(ownServices().bundleIdentifier, "");
  EXPECT_EQ(ownServices("it.drelk.korvane.pro.share").bundleIdentifier,
            "it.drelk.korvane.pro.share");
  EXPECT_EQ(ownServices().resources, "");
  EXPECT_EQ(ownServices().applicationName, "Korvane Share");
  EXPECT_EQ(ownServices().applicationEntry, "korvane-share");
}

}  // namespace
}  // namespace korvane
