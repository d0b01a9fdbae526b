#include "compose/ComposeService.h"

#include <gmock/gmock.h>

#include "support/FakeNotificationServer.h"
#include "support/MailDesktop.h"
#include "support/Places.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using testing::commandURL;
using testing::Finished;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

const std::string kBin = KORVANE_BINARY_DIR "/bin/";
constexpr const char* kName = "it.drelk.korvane";

class ComposedOverTheBus : public ::testing::Test {
 protected:
  ComposedOverTheBus() { desktop.addService(kName, kBin + "korvane-compose --service"); }

  Finished call(const std::string& method, const std::vector<std::string>& arguments) {
    std::vector<std::string> command{"gdbus",
                                     "call",
                                     "--session",
                                     "--dest",
                                     kName,
                                     "--object-path",
                                     "/it/drelk/korvane",
                                     "--method",
                                     "org.freedesktop.Application." + method};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return desktop.run(command);
  }
  Finished open(const std::string& url, const std::string& platformData = "{}") {
    return call("Open", {"['" + url + "']", platformData});
  }

  testing::MailDesktop desktop;
};

TEST_F(ComposedOverTheBus, AShareEndsInTheMailProgram) {
  desktop.addMailProgram("org.kde.kmail2", "kmail", "kmail %u");
  desktop.startBus();
  testing::writeFile(desktop.folder / "contract.pdf", "%PDF-1.4");
  desktop.set("XDG_ACTIVATION_TOKEN", "a-token");
  const Finished shared =
      desktop.run({kBin + "korvane-share", "--title", "Tea & more",
                   (desktop.folder / "contract.pdf").string(), "https://a.example/x?y=z"});
  EXPECT_EQ(shared.status, 0) << shared.errors;
  const auto words = desktop.started();
  ASSERT_THAT(words, SizeIs(7));
  EXPECT_EQ(words[1], "--subject=Tea & more");
  EXPECT_THAT(testing::readFile(words[3]), HasSubstr("https://a.example/x?y=z"));
  EXPECT_EQ(testing::readFile(words[5]), "%PDF-1.4");
  EXPECT_THAT(words[5], StartsWith((desktop.folder / "cache/korvane-compose/").string()));
  EXPECT_EQ(words[6], "token=a-token");
}

TEST_F(ComposedOverTheBus, WithoutAMailClientTheAnswerIsAnErrorAndTheShareTellsIt) {
  desktop.startBus();
  const Finished finished = open("korvane://compose?subject=a");
  EXPECT_NE(finished.status, 0);
  EXPECT_THAT(finished.errors, HasSubstr("it.drelk.korvane.Error.NoMailClient"));
  const Finished shared = desktop.run({kBin + "korvane-share", "https://a.example/"});
  EXPECT_EQ(shared.status, 1);
  EXPECT_EQ(shared.errors,
            "korvane-share: not handed over: no mail client is installed: no program opens mailto: "
            "links\n");
}

TEST_F(ComposedOverTheBus, WhatIsMissingIsToldInANotification) {
  desktop.addMailProgram("org.kde.kmail2", "kmail", "kmail %u");
  desktop.startBus();
  testing::FakeNotificationServer server(desktop.variable("DBUS_SESSION_BUS_ADDRESS"));
  EXPECT_EQ(open(commandURL({{"attachment_0", (desktop.staging() / "gone.txt").string()}})).status,
            0);
  const auto event = server.next();
  EXPECT_EQ(event.summary, "Not everything is in the message");
  EXPECT_EQ(event.body, "gone.txt is not attached: it is not there any more.");
  desktop.started();
  // Where all is well there is nothing to tell.
  EXPECT_EQ(open(commandURL({{"subject", "a"}})).status, 0);
  desktop.started();
  EXPECT_EQ(open(commandURL({{"attachment_0", (desktop.staging() / "also gone").string()}})).status,
            0);
  EXPECT_THAT(server.next().body, StartsWith("also gone is not attached: "));
  desktop.started();
}

TEST_F(ComposedOverTheBus, OtherCommandsAreAnsweredWithAnError) {
  desktop.addMailProgram("org.kde.kmail2", "kmail", "kmail %u");
  desktop.startBus();
  for (const char* url : {"korvane://archive?mail=a", "https://a.example/", "x y"}) {
    const Finished finished = open(url);
    EXPECT_NE(finished.status, 0) << url;
    EXPECT_THAT(finished.errors, HasSubstr("it.drelk.korvane.Error.NotSupported")) << url;
  }
  EXPECT_NE(call("Open", {"@as []", "{}"}).status, 0);
  EXPECT_NE(call("ActivateAction", {"quit", "[]", "{}"}).status, 0);
  // One wrong URL, and nothing is opened.
  EXPECT_NE(call("Open", {"['korvane://compose?', 'korvane://send?']", "{}"}).status, 0);
}

TEST_F(ComposedOverTheBus, FilesAreTakenOverBeforeTheAnswer) {
  desktop.addMailProgram("org.kde.kmail2", "kmail", "kmail %u");
  desktop.startBus();
  const auto file = desktop.stage("a.txt", "staged");
  EXPECT_EQ(open(commandURL({{"attachment_0", file}}),
                 "{'activation-token': <'t1'>, 'desktop-startup-id': <'t2'>}")
                .status,
            0);
  fs::remove_all(desktop.staging());
  const auto words = desktop.started();
  ASSERT_THAT(words, SizeIs(6));
  EXPECT_EQ(testing::readFile(words[4]), "staged");
  EXPECT_EQ(words[5], "token=t1");
}

TEST_F(ComposedOverTheBus, ActivateComposesAnEmptyMessage) {
  desktop.addMailProgram("thunderbird", "thunderbird", "thunderbird %u");
  desktop.startBus();
  EXPECT_EQ(call("Activate", {"{}"}).status, 0);
  const auto words = desktop.started();
  ASSERT_THAT(words, SizeIs(2));
  const std::string written = testing::readFile(words[0].substr(7));
  EXPECT_THAT(written, HasSubstr("X-Unsent: 1"));
  EXPECT_THAT(written, Not(HasSubstr("Subject:")));
}

TEST_F(ComposedOverTheBus, ANameThatIsTakenIsLeftToItsOwner) {
  desktop.startBus();
  const testing::Pipe errors;
  const testing::RunningProgram owner(
      {kBin + "korvane-receiver", "--name", kName, "--output", (desktop.folder / "x").string()},
      desktop.environment, -1, errors.write);
  EXPECT_THAT(errors.readLine(), HasSubstr("serving"));
  const Finished finished = desktop.run({kBin + "korvane-compose", "--service"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_THAT(finished.errors, HasSubstr("another program's"));
}

TEST_F(ComposedOverTheBus, WithoutABus) {
  EXPECT_EQ(desktop.run({kBin + "korvane-compose", "--service"}).status, 1);
}

}  // namespace
}  // namespace korvane
