// What the person sees of korvane-share: the program itself, on a bus of its own with a
// notification server and a receiver that stands in for the mail client.

#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <filesystem>

#include "support/FakeNotificationServer.h"
#include "support/Places.h"
#include "support/PrivateDesktop.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using testing::FakeNotificationServer;
using testing::Finished;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using Event = FakeNotificationServer::Event;

const std::string kShare = KORVANE_BINARY_DIR "/bin/korvane-share";
const std::string kReceiver = KORVANE_BINARY_DIR "/bin/korvane-receiver";
constexpr const char* kRegular = "it.drelk.korvane";
constexpr const char* kLink = "https://a.example/";

class ShareNotices : public ::testing::Test {
 protected:
  ShareNotices() {
    desktop.set("LC_ALL", "C.UTF-8");
    desktop.addService(kRegular, kReceiver + " --json --output " + received());
    desktop.startBus();
  }

  std::string received() const { return desktop.folder / "received"; }
  std::string address() const { return desktop.variable("DBUS_SESSION_BUS_ADDRESS"); }
  Finished share(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), kShare);
    return desktop.run(arguments);
  }
  /// A file that is there and cannot be attached.
  std::string pipeNamed(const std::string& name) const {
    const std::string path = desktop.folder / name;
    EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
    return path;
  }

  testing::PrivateDesktop desktop;
};

TEST_F(ShareNotices, NothingWhereAllIsWellOrNobodyWantsIt) {
  FakeNotificationServer server(address());
  EXPECT_EQ(share({kLink}).status, 0);
  for (const char* option : {"--no-notify", "--json", "--dry-run"}) {
    EXPECT_EQ(share({option, kLink, "/nonexistent"}).status, 0) << option;
  }
  EXPECT_TRUE(server.isQuiet());
  EXPECT_EQ(share({"--notify", "--no-notify", kLink}).status, 2);
}

TEST_F(ShareNotices, WhatIsMissingIsToldWithItsReason) {
  FakeNotificationServer server(address());
  const Finished finished = share({kLink, desktop.folder / "R&D.pdf"});
  EXPECT_EQ(finished.status, 0);
  EXPECT_THAT(finished.errors, HasSubstr("R&D.pdf is not in the message: "));
  const Event event = server.next();
  EXPECT_EQ(event.summary, "Not everything is in the message");
  EXPECT_THAT(event.body, HasSubstr("R&amp;D.pdf is not in the message: "));
  EXPECT_THAT(event.body, Not(HasSubstr(desktop.folder.string())));
  EXPECT_THAT(event.actions, IsEmpty());  // there is no file to show
  EXPECT_TRUE(server.isQuiet());

  EXPECT_EQ(share({"--notify", "--json", kLink, "/nonexistent"}).status, 0);
  EXPECT_EQ(server.next().what, "Notify");
}

TEST_F(ShareNotices, TheButtonShowsTheFile) {
  FakeNotificationServer server(address());
  const std::string path = pipeNamed("a pipe");
  testing::RunningProgram program({kShare, kLink, path}, desktop.environment, -1, -1);
  const Event event = server.next();
  EXPECT_THAT(event.actions, ElementsAre("button", "Show File"));
  server.press(event.id, "button");
  EXPECT_THAT(server.next().arguments, HasSubstr("/a%20pipe"));
  EXPECT_EQ(program.wait(), 0);
}

TEST_F(ShareNotices, AMessageThatIsClosedEndsTheProgram) {
  FakeNotificationServer server(address());
  testing::RunningProgram program({kShare, kLink, pipeNamed("pipe")}, desktop.environment, -1, -1);
  server.close(server.next().id);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_TRUE(server.isQuiet());
}

TEST_F(ShareNotices, WhatWasNotOpenedIsToldInThePersonsLanguage) {
  FakeNotificationServer server(address());
  desktop.set("LC_ALL", "de_DE.UTF-8");
  const Finished finished = share({"--identifier", "it.drelk.korvane.beta8.share", kLink});
  EXPECT_EQ(finished.status, 1);
  EXPECT_THAT(finished.errors, HasSubstr("korvane-share: nicht übergeben: "));
  const Event event = server.next();
  EXPECT_EQ(event.summary, "Die Nachricht wurde nicht geöffnet");
  EXPECT_THAT(event.body, HasSubstr("ist keine Anwendung it.drelk.korvane.beta8 installiert"));
}

// The share waits for its turn, however long the test takes.
TEST_F(ShareNotices, CancelEndsAShareThatWaits) {
  FakeNotificationServer server(address());
  const std::string lockFile = desktop.folder / "data/Q7K4M2XW9P.korvane.share";
  const int lock = ::open(lockFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(::flock(lock, LOCK_EX), 0);
  testing::Pipe errors;
  testing::RunningProgram program({kShare, "/nonexistent", kLink}, desktop.environment, -1,
                                  errors.write);
  const Event event = server.next();
  EXPECT_THAT(event.body, HasSubstr("waiting until the mail client"));
  EXPECT_THAT(event.actions, ElementsAre("button", "Cancel"));
  EXPECT_TRUE(event.isTransient);
  server.press(event.id, "button");
  EXPECT_EQ(program.wait(), 1);
  errors.closeWriting();
  EXPECT_THAT(errors.readLine(), HasSubstr("waiting until"));
  EXPECT_EQ(errors.readLine(), "korvane-share: not handed over: it was cancelled");
  const Event closed = server.next();
  EXPECT_EQ(closed.what, "Close");
  EXPECT_EQ(closed.id, event.id);
  EXPECT_TRUE(server.isQuiet());
  EXPECT_FALSE(fs::exists(received()));
  ::close(lock);
}

TEST_F(ShareNotices, WithoutAServerTheShareIsTheSame) {
  const Finished finished = share({kLink, pipeNamed("pipe")});
  EXPECT_EQ(finished.status, 0);
  EXPECT_THAT(finished.errors, HasSubstr("is not in the message: "));
}

}  // namespace
}  // namespace korvane
