// The workspace against a real session bus. It reads the environment and uses GLib's idea of the
// data folders, which stay as they were first seen, so every opening happens in a process of its
// own: this program, started with --open.

#include "linux/detail/Workspace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <iostream>

#include "extension/ExtensionUtilities.h"
#include "tests/support/PrivateDesktop.h"
#include "tests/support/TestPlatform.h"

#include "support/Places.h"

namespace korvane {
namespace {

using ::testing::AnyOf;
using testing::Finished;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::PrivateDesktop;
using testing::readFile;
using ::testing::StartsWith;
using testing::writeFile;

constexpr const char* kId = "it.drelk.korvane";
constexpr const char* kForeground = "131072";
constexpr const char* kBackground = "512";
const std::string kReceiver = KORVANE_BINARY_DIR "/bin/korvane-receiver";

struct WorkspaceTest : ::testing::Test {
  PrivateDesktop desktop;
  const std::string received = desktop.folder / "received";

  void SetUp() override { ASSERT_TRUE(std::filesystem::exists(kReceiver)) << kReceiver; }

  std::string receiver(const std::string& options = "") const {
    return kReceiver + " --json --output " + received + (options.empty() ? "" : " " + options);
  }
  /// The Exec line's program writes to a pipe that can be waited on.
  void makePipe() const { ASSERT_EQ(mkfifo(received.c_str(), 0600), 0); }
  void setTokens() {
    desktop.set("XDG_ACTIVATION_TOKEN", "token-1");
    desktop.set("DESKTOP_STARTUP_ID", "startup_TIME2");
  }
  /// Opens the URLs once for every one of the options, in one process, and gives its output:
  /// "1" for an opening, "0" for a refusal, and reasons on the error stream.
  Finished open(const std::vector<std::string>& urls, const std::string& identifier = kId,
                const std::string& options = kForeground) const {
    std::string lines;
    for (const std::string& url : urls) lines += url + "\n";
    writeFile(desktop.folder / "urls", lines);
    Finished finished =
        desktop.run({"/proc/self/exe", "--open", identifier, options, desktop.folder / "urls"});
    EXPECT_EQ(finished.status, 0) << finished.errors.substr(0, 2000);
    // Whatever went wrong, the message stays private.
    EXPECT_THAT(finished.errors.substr(0, 2000), Not(HasSubstr("secret")));
    return finished;
  }
};

const std::string kUrl = "korvane://compose?subject=secret%20%26%22&htmlBody=it's%20$(secret);*~!";

std::string line(const std::vector<std::string>& urls, const std::string& platformData) {
  std::string line;
  for (const std::string& url : urls) line += (line.empty() ? "\"" : ", \"") + url + "\"";
  return "{\"urls\": [" + line + "], \"platform_data\": {" + platformData + "}}\n";
}

const std::string kTokens =
    "\"activation-token\": \"token-1\", \"desktop-startup-id\": \"startup_TIME2\"";

TEST_F(WorkspaceTest, AnApplicationIsStartedByItsNameWithAllUrlsInOneCall) {
  desktop.addService(kId, receiver());
  desktop.startBus();
  setTokens();
  const Finished finished = open({kUrl, "korvane://reply?mail=a"});
  EXPECT_EQ(finished.output, "1");
  EXPECT_EQ(finished.errors, "");
  EXPECT_EQ(readFile(received), line({kUrl, "korvane://reply?mail=a"}, kTokens));
}

TEST_F(WorkspaceTest, InTheBackgroundNoTokenIsPassed) {
  desktop.addService(kId, receiver());
  desktop.startBus();
  setTokens();
  EXPECT_EQ(open({kUrl}, kId, kBackground).output, "1");
  EXPECT_EQ(readFile(received), line({kUrl}, ""));
}

TEST_F(WorkspaceTest, TokensServeOnceInTheForegroundAndLeaveTheEnvironment) {
  desktop.addService(kId, receiver());
  desktop.startBus();
  setTokens();
  EXPECT_EQ(open({kUrl}, kId, "512,131072,131072,environment").output, "111--");
  EXPECT_EQ(readFile(received), line({kUrl}, "") + line({kUrl}, kTokens) + line({kUrl}, ""));
}

TEST_F(WorkspaceTest, AThreadMayHaveTokensOfItsOwn) {
  desktop.addService(kId, receiver());
  desktop.startBus();
  setTokens();
  EXPECT_EQ(open({kUrl}, kId, "own,512,131072,launchers,131072").output, "111");
  EXPECT_EQ(readFile(received), line({kUrl}, "") + line({kUrl}, "\"activation-token\": \"own\"") +
                                    line({kUrl}, kTokens));
}

TEST_F(WorkspaceTest, OnlyTheTokensThatThereArePassed) {
  desktop.addService(kId, receiver());
  desktop.startBus();
  desktop.set("XDG_ACTIVATION_TOKEN", "only");
  EXPECT_EQ(open({kUrl}).output, "1");
  desktop.set("XDG_ACTIVATION_TOKEN", "");
  desktop.set("DESKTOP_STARTUP_ID", "no \xFF UTF-8");
  EXPECT_EQ(open({kUrl}).output, "1");
  EXPECT_EQ(readFile(received), line({kUrl}, "\"activation-token\": \"only\"") + line({kUrl}, ""));
}

TEST_F(WorkspaceTest, ARunningApplicationIsCalledThoughNothingCouldStartIt) {
  desktop.startBus();
  testing::Pipe ready;
  const testing::RunningProgram running({kReceiver, "--json", "--output", received},
                                        desktop.environment, -1, ready.write);
  ready.closeWriting();
  ASSERT_EQ(ready.readLine(), std::string("korvane-receiver: serving ") + kId);
  EXPECT_EQ(open({kUrl}).output, "1");
  EXPECT_EQ(open({kUrl}).output, "1");
  EXPECT_EQ(readFile(received), line({kUrl}, "") + line({kUrl}, ""));
}

TEST_F(WorkspaceTest, TwoEditionsStandSideBySide) {
  const std::string beta = desktop.folder / "beta";
  desktop.addService(kId, receiver());
  desktop.addService("it.drelk.korvane.beta8", kReceiver +
                                                   " --name it.drelk.korvane.beta8 --json "
                                                   "--output " +
                                                   beta);
  desktop.startBus();
  EXPECT_EQ(open({kUrl}, "extension:it.drelk.korvane.beta8.share").output, "1");
  EXPECT_EQ(readFile(beta), line({kUrl}, ""));
  EXPECT_FALSE(std::filesystem::exists(received));
  EXPECT_EQ(open({"korvane://a"}, "extension:it.drelk.korvane.share").output, "1");
  EXPECT_EQ(readFile(received), line({"korvane://a"}, ""));
  EXPECT_EQ(readFile(beta), line({kUrl}, ""));
  // No other edition stands in for one that is missing.
  const Finished missing = open({kUrl}, "extension:it.drelk.korvane2.share");
  EXPECT_EQ(missing.output, "0");
  EXPECT_EQ(missing.errors, "no application it.drelk.korvane2 is installed\n");
}

TEST_F(WorkspaceTest, AHyphenInTheNameIsAnUnderscoreInThePath) {
  desktop.addService("it.drelk.kor-vane", receiver("--name it.drelk.kor-vane"));
  desktop.startBus();
  EXPECT_EQ(open({kUrl}, "it.drelk.kor-vane").output, "1");
}

TEST_F(WorkspaceTest, TwentyMegabytesOfBodyArriveWhole) {
  desktop.addService(kId, receiver());
  desktop.startBus();
  std::string escapes;
  for (int i = 0; i < 1024; ++i) escapes += i ? "%3C" : "%0A";
  std::string url = "korvane://compose?htmlBody=";
  for (int i = 0; i < 20 * 1024; ++i) url += escapes;
  EXPECT_EQ(open({url}).output, "1");
  EXPECT_TRUE(readFile(received) == line({url}, "")) << std::filesystem::file_size(received);
}

// Failures over the bus.

TEST_F(WorkspaceTest, ARefusalIsReportedAndNoOtherRoadTried) {
  desktop.addService(kId, receiver("--refuse"));
  desktop.addEntry(kId, receiver("%U"), "DBusActivatable=true\n");
  desktop.startBus();
  const Finished finished = open({kUrl});
  EXPECT_EQ(finished.output, "0");
  EXPECT_EQ(finished.errors,
            "it.drelk.korvane refused the request (it.drelk.korvane.Error.Refused)\n");
}

TEST_F(WorkspaceTest, AServiceThatDiesAtStartIsReported) {
  desktop.addService(kId, "/bin/false");
  desktop.addEntry(kId, receiver("%U"), "DBusActivatable=true\n");
  desktop.startBus();
  const Finished finished = open({kUrl});
  EXPECT_EQ(finished.output, "0");
  EXPECT_EQ(finished.errors,
            "it.drelk.korvane cannot be reached: Process it.drelk.korvane exited with status 1\n");
}

TEST_F(WorkspaceTest, AServiceWhoseProgramIsMissingIsReported) {
  desktop.addService(kId, "/no/such/program");
  desktop.startBus();
  const Finished finished = open({kUrl});
  EXPECT_EQ(finished.output, "0");
  EXPECT_THAT(finished.errors, StartsWith("it.drelk.korvane cannot be reached: "));
}

TEST_F(WorkspaceTest, AnApplicationThatEndsWithoutAnAnswerIsReported) {
  desktop.addService(kId, receiver("--crash"));
  desktop.startBus();
  const Finished finished = open({kUrl});
  EXPECT_EQ(finished.output, "0");
  EXPECT_THAT(finished.errors, StartsWith("it.drelk.korvane cannot be reached: Message recipient "
                                          "disconnected from message bus without replying"));
}

TEST_F(WorkspaceTest, WhatNoMessageCanHoldIsRefused) {
  desktop.addService(kId, receiver());
  desktop.startBus();
  const std::string half = "korvane://compose?htmlBody=" + std::string(33UL << 20, 'a');
  const Finished finished = open({half, half});
  EXPECT_EQ(finished.output, "0");
  EXPECT_EQ(finished.errors,
            "the message makes URLs of 69206086 bytes, and the session bus takes "
            "67108864\n");
  EXPECT_FALSE(std::filesystem::exists(received));
}

TEST_F(WorkspaceTest, ABusThatTakesLessIsReported) {
  writeFile(desktop.folder / "bus.conf",
            "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
            "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
            "<busconfig><include>/usr/share/dbus-1/session.conf</include>"
            "<limit name=\"max_message_size\">100000</limit></busconfig>\n");
  desktop.addService(kId, receiver());
  desktop.startBus(desktop.folder / "bus.conf");
  EXPECT_EQ(open({kUrl}).output, "1");
  const Finished finished = open({"korvane://compose?htmlBody=" + std::string(200'000, 'a')});
  EXPECT_EQ(finished.output, "0");
  EXPECT_EQ(finished.errors,
            "the session bus ended the connection; it may not take messages of 200035 bytes\n");
}

TEST_F(WorkspaceTest, AnApplicationThatDoesNotAnswerIsNotWaitedForWithoutEnd) {
  desktop.addService(kId, receiver("--silent"));
  desktop.startBus();
  desktop.set("NO_PATIENCE", "1");
  const Finished finished = open({kUrl});
  EXPECT_EQ(finished.output, "0");
  EXPECT_EQ(finished.errors, "the mail client has not answered yet; its window may still come\n");
}

TEST_F(WorkspaceTest, ABusThatDoesNotAnswerIsNotWaitedForWithoutEnd) {
  desktop.addEntry(kId, receiver("%U"));
  const testing::SilentBus bus(desktop.folder / "silent-bus");
  desktop.set("DBUS_SESSION_BUS_ADDRESS", bus.address());
  desktop.set("NO_PATIENCE", "1");
  const Finished finished = open({kUrl});
  EXPECT_EQ(finished.output, "0");
  EXPECT_EQ(finished.errors, "the session bus does not answer\n");
}

TEST(Workspace, TheLimitsOfWaiting) {
  EXPECT_EQ(WorkspaceLimits().connecting, std::chrono::seconds(5));
  EXPECT_EQ(WorkspaceLimits().answering, std::chrono::seconds(60));
}

// The road of the desktop entry.

TEST_F(WorkspaceTest, AMissingApplicationIsReported) {
  const std::string reason = "no application it.drelk.korvane is installed\n";
  const Finished withoutBus = open({kUrl});
  EXPECT_EQ(withoutBus.output, "0");
  EXPECT_EQ(withoutBus.errors, reason);
  desktop.startBus();
  const Finished withBus = open({kUrl});
  EXPECT_EQ(withBus.output, "0");
  EXPECT_EQ(withBus.errors, reason);
  EXPECT_EQ(open({kUrl}, "no bus name").errors, "no application no bus name is installed\n");
}

TEST_F(WorkspaceTest, AnEntrysProgramGetsUrlsAndTokens) {
  desktop.addEntry(kId, receiver("%U"));
  makePipe();
  desktop.startBus();
  setTokens();
  EXPECT_EQ(open({kUrl, "korvane://b?%25"}).output, "1");
  EXPECT_EQ(readFile(received), line({kUrl, "korvane://b?%25"}, kTokens));
  EXPECT_EQ(open({kUrl}, kId, kBackground).output, "1");
  EXPECT_EQ(readFile(received), line({kUrl}, ""));
}

TEST_F(WorkspaceTest, AnEntryServesWithoutABusToo) {
  desktop.addEntry(kId, receiver("%U"), "DBusActivatable=true\n");
  makePipe();
  setTokens();
  EXPECT_EQ(open({kUrl}).output, "1");
  EXPECT_EQ(readFile(received), line({kUrl}, kTokens));
}

TEST_F(WorkspaceTest, AProgramThatTakesOneUrlIsRunForEach) {
  desktop.addEntry(kId, receiver("%u"));
  makePipe();
  // Held open for both, whichever writes first and last.
  const int pipe = ::open(received.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(pipe, 0);
  EXPECT_EQ(open({"korvane://a", "korvane://b"}).output, "1");
  const std::string first = line({"korvane://a"}, ""), second = line({"korvane://b"}, "");
  std::string got;
  for (char c = 0; got.size() < (first + second).size() && ::read(pipe, &c, 1) == 1;) got += c;
  close(pipe);
  EXPECT_THAT(got, AnyOf(first + second, second + first));
}

TEST_F(WorkspaceTest, TheUsersEntryHidesTheSystems) {
  std::filesystem::create_directories(desktop.folder / "system/applications");
  writeFile(desktop.folder / "system/applications" / (std::string(kId) + ".desktop"),
            "[Desktop Entry]\nType=Application\nName=Test\nExec=" + receiver("%U") + "\n");
  makePipe();
  EXPECT_EQ(open({kUrl}).output, "1");
  EXPECT_EQ(readFile(received), line({kUrl}, ""));
  desktop.addEntry(kId, receiver("%U"), "Hidden=true\n");
  const Finished finished = open({kUrl});
  EXPECT_EQ(finished.output, "0");
  EXPECT_EQ(finished.errors, "no application it.drelk.korvane is installed\n");
}

TEST_F(WorkspaceTest, AProgramRunsInASessionOfItsOwnWithoutOurStreams) {
  writeFile(desktop.folder / "program",
            "#!/bin/sh\nread -r pid comm state parent group session rest </proc/$$/stat\n"
            "echo \"$# $([ $session = $1 ] && echo ours) $(readlink /proc/$$/fd/0) "
            "$(readlink /proc/$$/fd/1) $(readlink /proc/$$/fd/2)\" >" +
                received + "\n");
  std::filesystem::permissions(desktop.folder / "program", std::filesystem::perms::owner_all);
  desktop.addEntry(kId,
                   (desktop.folder / "program").string() + " " + std::to_string(getsid(0)) + " %U");
  makePipe();
  EXPECT_EQ(open({kUrl}).output, "1");
  EXPECT_EQ(readFile(received), "2  /dev/null /dev/null /dev/null\n");
}

TEST_F(WorkspaceTest, TheLongestArgumentStillGoesAndALongerOneIsRefused) {
  desktop.addEntry(kId, receiver("%U"));
  makePipe();
  const std::string start = "korvane://compose?secret=";
  const std::string longest = start + std::string(131'071 - start.size(), 'a');
  EXPECT_EQ(open({longest}).output, "1");
  EXPECT_EQ(readFile(received), line({longest}, ""));
  const Finished finished = open({"korvane://a", longest + "a"});
  EXPECT_EQ(finished.output, "0");
  EXPECT_EQ(finished.errors,
            "it.drelk.korvane cannot be started: the message makes a URL of 131072 bytes, and a "
            "program can be given 131071\n");
}

TEST_F(WorkspaceTest, AnArgumentThatIsTooLongWithItsOptionIsRefusedByTheSystem) {
  desktop.addEntry(kId, kReceiver + " --url=%u");
  const std::string start = "korvane://compose?secret=";
  const Finished finished = open({start + std::string(131'071 - start.size(), 'a')});
  EXPECT_EQ(finished.output, "0");
  EXPECT_THAT(finished.errors, StartsWith("it.drelk.korvane cannot be started: "));
  EXPECT_THAT(finished.errors, HasSubstr("Argument list too long"));
}

TEST_F(WorkspaceTest, AnEntryThatCannotServeIsReported) {
  const struct {
    std::string exec, more, reason;
  } rows[] = {
      {kReceiver, "", "its desktop entry takes no URLs"},
      {kReceiver + " %f %%u", "", "its desktop entry takes no URLs"},
      {"", "", "its desktop entry takes no URLs"},
      {"", "DBusActivatable=true\n", "its desktop entry takes no URLs"},
      {"/no/such/program %u", "", "its desktop entry names a program that is not there"},
      {kReceiver + " %u", "TryExec=/no/such/program\n",
       "its desktop entry names a program that is not there"},
      {kReceiver + " \"unfinished %u", "", "its desktop entry names a program that is not there"},
  };
  for (const auto& row : rows) {
    desktop.addEntry(kId, row.exec, row.more);
    const Finished finished = open({kUrl});
    EXPECT_EQ(finished.output, "0") << row.exec;
    EXPECT_EQ(finished.errors, "it.drelk.korvane cannot be started: " + row.reason + "\n");
  }
  writeFile(desktop.folder / "data/applications" / (std::string(kId) + ".desktop"), "no entry");
  EXPECT_EQ(open({kUrl}).errors, "no application it.drelk.korvane is installed\n");
}

TEST(Workspace, AnEmptyListOpensNothing) {
  bool reported = false;
  Workspace workspace([&](std::string_view) { reported = true; });
  EXPECT_FALSE(workspace.openURLs({}, kId, 512));
  EXPECT_FALSE(reported);
}

/// --open IDENTIFIER OPTIONS FILE: opens the URLs of the file's lines, once for every one of the
/// options. "extension:ID" opens as the extension with this identifier would. The option
/// "environment" tells which of the variables are still set; "own" gives the thread a token of its
/// own, which "launchers" takes away.
int open(const std::string& identifier, const std::string& options, const char* file) {
  std::vector<NSURL> urls;
  std::ifstream lines(file);
  for (std::string text; std::getline(lines, text);) {
    urls.push_back(NSURL::URLWithString(text).value());
  }
  testing::TestPlatform platform;
  const auto workspace = std::make_shared<Workspace>(
      [](std::string_view reason) { std::cerr << reason << std::endl; },
      std::getenv("NO_PATIENCE")
          ? WorkspaceLimits{std::chrono::milliseconds(500), std::chrono::milliseconds(500)}
          : WorkspaceLimits{std::chrono::minutes(10), std::chrono::minutes(10)});
  platform.services.workspace = workspace;
  const std::string extension = "extension:";
  if (identifier.starts_with(extension)) {
    platform.services.bundle =
        std::make_shared<testing::FakeBundle>(identifier.substr(extension.size()));
  }
  platform.install();
  std::istringstream each(options);
  std::optional<ActivationScope> own;
  for (std::string option; std::getline(each, option, ',');) {
    if (option == "environment") {
      std::cout << (std::getenv("XDG_ACTIVATION_TOKEN") ? "X" : "-")
                << (std::getenv("DESKTOP_STARTUP_ID") ? "X" : "-");
    } else if (option == "own") {
      own.emplace(Activation{.token = "own", .startupId = std::nullopt});
    } else if (option == "launchers") {
      own.reset();
    } else if (identifier.starts_with(extension)) {
      std::cout << ExtensionUtilities::LaunchCommands(urls, option == kBackground);
    } else {
      std::cout << workspace->openURLs(urls, identifier, static_cast<unsigned>(std::stoul(option)));
    }
  }
  return 0;
}

}  // namespace
}  // namespace korvane

int main(int argc, char** argv) {
  if (argc == 5 && std::string_view(argv[1]) == "--open") {
    return korvane::open(argv[2], argv[3], argv[4]);
  }
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
