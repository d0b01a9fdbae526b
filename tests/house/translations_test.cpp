// What people may see is there in every language: the template holds what the sources hold, and
// every catalogue has a finished translation of all of it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include "support/Places.h"
#include "support/TemporaryFolder.h"

namespace {

using korvane::testing::contentOf;
using korvane::testing::TemporaryFolder;

const std::string kFolder = KORVANE_SOURCE_DIR "/po/";

/// What a shell command says, on both of its streams; empty where it succeeds.
std::string complaintOf(const std::string& command) {
  const TemporaryFolder folder;
  const std::string said = folder.path("said");
  const int status = std::system(("{ " + command + "; } >" + said + " 2>&1").c_str());
  return status == 0 ? "" : command + "\n" + contentOf(said);
}

std::vector<std::string> languages() {
  std::ifstream file(kFolder + "LINGUAS");
  const std::vector<std::string> names{std::istream_iterator<std::string>(file), {}};
  EXPECT_FALSE(names.empty());
  return names;
}

TEST(Translations, TheTemplateHoldsWhatTheSourcesHold) {
  const TemporaryFolder folder;
  const std::string fresh = folder.path("korvane.pot");
  ASSERT_EQ(complaintOf(kFolder + "extract " + fresh), "");
  EXPECT_TRUE(contentOf(fresh) == contentOf(kFolder + "korvane.pot"))
      << "run ./dev translations\n"
      << complaintOf("diff " + kFolder + "korvane.pot " + fresh);
}

TEST(Translations, EveryTextIsTranslated) {
  for (const std::string& language : languages()) {
    // Fails for what is missing, has no translation, or has one that nobody has looked at.
    EXPECT_EQ(complaintOf("msgcmp " + kFolder + language + ".po " + kFolder + "korvane.pot"), "");
  }
}

TEST(Translations, TheirPlacesAndLineBreaksAreThoseOfTheText) {
  const TemporaryFolder folder;
  for (const std::string& language : languages()) {
    EXPECT_EQ(complaintOf("msgfmt --check -o " + folder.path("mo ") + kFolder + language + ".po"),
              "");
  }
}

TEST(Translations, NothingIsLeftOfTextsThatAreGone) {
  for (const std::string& language : languages()) {
    EXPECT_NE(complaintOf("grep '^#~' " + kFolder + language + ".po"), "") << language;
  }
}

// Where texts for people go in, none goes in as it stands. What is written in capitals or without
// a blank is no sentence: a name, an option, a key.
TEST(Translations, NoLineForPeopleGoesPastThem) {
  static const std::regex kPast(
      R"re((?:InputError|runtime_error|ComposeError|refuse|giveUp|launchFailed|blame|complain)\()re"
      R"re((?:[A-Za-z:]+, )?(?:std::string\()?"[^"]* [^"]*")re"
      R"re(|(?:fail|tell)\((?:[A-Za-z]+, ){0,2}(?:std::string\()?"[^"]* [^"]*")re"
      R"re(|(?:leftOut_?|missing)\.(?:push|emplace)_back\(\{?"[^"]* [^"]*")re"
      R"re(|(?:reason|why|failure)_? = "[^"]* [^"]*")re");
  for (const char* room : {"linux", "host", "compose", "programs"}) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(
             std::string(KORVANE_SOURCE_DIR "/") + room)) {
      if (entry.path().extension() != ".cpp" && entry.path().extension() != ".h") continue;
      const std::string text = contentOf(entry.path());
      for (std::sregex_iterator found(text.begin(), text.end(), kPast), end; found != end;
           ++found) {
        ADD_FAILURE() << entry.path() << ": " << found->str();
      }
    }
  }
}

// A test of the tests: a tool that finds nothing wrong would let everything pass.
TEST(Translations, WhatIsWrongIsFound) {
  const TemporaryFolder folder;
  const std::string head =
      "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n"
      "\"MIME-Version: 1.0\\nContent-Transfer-Encoding: 8bit\\nLanguage: de\\n\"\n"
      "\"Project-Id-Version: x\\nPO-Revision-Date: x\\nLast-Translator: x\\nLanguage-Team: x\\n\"\n"
      "\n#, python-brace-format\n";
  const std::string text = "msgid \"{0} is {1}\"\nmsgstr ";
  const std::string pot = folder.file("korvane.pot", head + text + "\"\"\n");
  const auto compare = [&](const std::string& po) {
    return complaintOf("msgcmp " + folder.file("de.po", po) + " " + pot);
  };
  const auto check = [&](const std::string& po) {
    return complaintOf("msgfmt --check -o " + folder.path("mo ") + folder.file("de.po", po));
  };
  EXPECT_EQ(compare(head + text + "\"{1} und {0}\"\n"), "");
  EXPECT_NE(compare(head + text + "\"\"\n"), "");
  EXPECT_NE(compare(head + "#, fuzzy\n" + text + "\"{1} und {0}\"\n"), "");
  EXPECT_NE(compare(head + "msgid \"x\"\nmsgstr \"y\"\n"), "");
  EXPECT_EQ(check(head + text + "\"{1} und {0}\"\n"), "");
  EXPECT_NE(check(head + text + "\"{1} und\"\n"), "");
}

}  // namespace
