#include "host/Diagnosis.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/support/PrivateDesktop.h"

#include "support/Places.h"

namespace korvane {
namespace {

using nlohmann::json;
using ::testing::AllOf;
using ::testing::Contains;
using testing::Finished;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::PrivateDesktop;

TEST(Diagnosis, HomeIsWrittenAsATilde) {
  struct Case {
    const char* text;
    const char* home;
    const char* shown;
  };
  for (const Case& each : {
           Case{"", "/home/ann", ""},
           Case{"/home/ann", "/home/ann", "~"},
           Case{"/home/ann/.local/share", "/home/ann", "~/.local/share"},
           Case{"/home/ann/x", "/home/ann/", "~/x"},
           Case{"/home/anna/x", "/home/ann", "/home/anna/x"},
           Case{"/old/home/ann/x", "/home/ann", "/old/home/ann/x"},
           Case{"\"/home/ann/a\" is not \"/home/ann/b\"", "/home/ann", "\"~/a\" is not \"~/b\""},
           Case{"/usr/share", "/", "/usr/share"},
           Case{"/usr/share", "", "/usr/share"},
       }) {
    EXPECT_EQ(withoutHome(each.text, each.home), each.shown) << each.text << " " << each.home;
  }
}

TEST(Diagnosis, AnEmptyOneIsToldToo) {
  const Diagnosis nothing;
  EXPECT_THAT(diagnosisText(nothing),
              AllOf(HasSubstr("extension: its info dictionary is missing\n"),
                    HasSubstr("container: no home folder was found\n"),
                    HasSubstr("Landlock: not there\n"), HasSubstr("picture formats: none\n")));
  const json told = json::parse(diagnosisJSON(nothing));
  EXPECT_EQ(told["extension"], nullptr);
  EXPECT_EQ(told["container"]["path"], nullptr);
  EXPECT_EQ(told["container"]["rights"], nullptr);
  EXPECT_EQ(told["client"]["road"], "none");
  EXPECT_EQ(told["pictureFormats"], json::array());
}

TEST(Diagnosis, WhatIsToldIsWrittenInBothForms) {
  Diagnosis diagnosis;
  diagnosis.version = "1.2.3";
  diagnosis.extension = "it.drelk.korvane.beta8.share";
  diagnosis.application = "it.drelk.korvane.beta8";
  diagnosis.container = {"~/box", true, true, false, 0750};
  diagnosis.client = {Diagnosis::Road::startedByBus, "/usr/a.desktop", "Mail (mail)", ""};
  diagnosis.entries = {{"application", "/usr/b.desktop"}, {"Nemo", ""}};
  diagnosis.session = {"wayland", "GNOME\n", true, false, true};
  diagnosis.pictureFormats = {"gif", "png"};
  diagnosis.confinement = {"6.1", 3, true};
  const std::string text = diagnosisText(diagnosis);
  for (const char* line :
       {"korvane-share 1.2.3\n", "container: ~/box, rights 750, cannot be written\n",
        "mail client: it.drelk.korvane.beta8 is started by the session bus\n",
        "mail program: Mail (mail)\n", "entry, application: /usr/b.desktop\n",
        "entry, Nemo: not installed\n", "portals: not there\n", "notifications: there\n",
        "picture formats: gif, png\n", "Landlock: version 3\n", "seccomp: there\n"}) {
    EXPECT_THAT(text, HasSubstr(line));
  }
  EXPECT_THAT(text, Not(HasSubstr("GNOME\n\n")));  // one line each, whatever it holds
  const json told = json::parse(diagnosisJSON(diagnosis));
  EXPECT_EQ(told["version"], "1.2.3");
  EXPECT_EQ(told["container"], (json{{"path", "~/box"},
                                     {"exists", true},
                                     {"own", true},
                                     {"writable", false},
                                     {"rights", "750"}}));
  EXPECT_EQ(told["client"]["mailProgram"], "Mail (mail)");
  EXPECT_EQ(told["entries"], (json{{"application", "/usr/b.desktop"}, {"Nemo", nullptr}}));
  EXPECT_EQ(told["confinement"], (json{{"kernel", "6.1"}, {"landlock", 3}, {"seccomp", true}}));
}

// The program on desktops of the test's own.

class Doctor : public ::testing::Test {
 protected:
  json told(const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments{KORVANE_BINARY_DIR "/bin/korvane-share", "--doctor",
                                       "--json"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Finished finished = desktop.run(arguments);
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.errors, "");
    EXPECT_THAT(finished.output, Not(HasSubstr(desktop.folder.string()))) << "the home is told";
    return json::parse(finished.output);
  }
  PrivateDesktop desktop;
};

TEST_F(Doctor, WithoutAnythingNothingIsFound) {
  const json found = told();
  EXPECT_EQ(found["extension"], "it.drelk.korvane.share");
  EXPECT_EQ(found["application"], "it.drelk.korvane");
  EXPECT_EQ(found["container"]["path"], "~/data/Q7K4M2XW9P.korvane");
  EXPECT_EQ(found["container"]["exists"], false);
  EXPECT_EQ(found["container"]["writable"], true);
  EXPECT_EQ(found["client"]["road"], "none");
  EXPECT_EQ(found["session"]["bus"], false);
  EXPECT_THAT(found["pictureFormats"],
              AllOf(Contains("png"), Contains("jpeg"), Not(Contains("xbm"))));
  EXPECT_FALSE(std::filesystem::exists(desktop.folder / "data/Q7K4M2XW9P.korvane"));
}

TEST_F(Doctor, TheRoadToTheClientIsTold) {
  desktop.addEntry("it.drelk.korvane.beta10", "/bin/true %U");
  const std::vector<std::string> beta{"--identifier", "it.drelk.korvane.beta10.share"};
  json found = told(beta);
  EXPECT_EQ(found["application"], "it.drelk.korvane.beta10");
  EXPECT_EQ(found["client"]["road"], "startedByEntry");
  EXPECT_EQ(found["client"]["entry"], "~/data/applications/it.drelk.korvane.beta10.desktop");
  EXPECT_EQ(found["client"]["mailProgram"], nullptr);

  desktop.addService("it.drelk.korvane.beta10", "/bin/true");
  desktop.addService("org.freedesktop.Notifications", "/bin/true");
  desktop.startBus();
  found = told(beta);
  EXPECT_EQ(found["client"]["road"], "startedByBus");
  EXPECT_EQ(found["session"]["bus"], true);
  EXPECT_EQ(found["session"]["notifications"], true);
}

TEST_F(Doctor, TheStandInTellsItsMailProgram) {
  desktop.addEntry("it.drelk.korvane", KORVANE_BINARY_DIR "/bin/korvane-compose %u");
  json found = told();
  EXPECT_EQ(found["client"]["mailProgram"], nullptr);
  EXPECT_THAT(found["client"]["why"].get<std::string>(), HasSubstr("mail"));

  desktop.addEntry("thunderbird", "/bin/true %u", "MimeType=x-scheme-handler/mailto;\n");
  testing::writeFile(desktop.folder / "data/applications/mimeapps.list",
                     "[Default Applications]\nx-scheme-handler/mailto=thunderbird.desktop\n");
  found = told();
  EXPECT_EQ(found["client"]["mailProgram"], "Test (thunderbird)") << found.dump();
}

TEST_F(Doctor, ThereIsNothingToShare) {
  for (const char* other : {"item", "--dry-run", "--clipboard", "--title=a"}) {
    EXPECT_EQ(desktop.run({KORVANE_BINARY_DIR "/bin/korvane-share", "--doctor", other}).status, 2);
  }
}

}  // namespace
}  // namespace korvane
