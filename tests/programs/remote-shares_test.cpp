// Shares of files that only the desktop's file services can read, from end to end: the program,
// those services on a session bus of its own, a server on the loopback and the trash.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>

#include "model/ExtensionMessage.h"
#include "tests/support/RemotePlaces.h"
#include "tests/support/TestPlatform.h"

#include "support/Places.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using testing::Finished;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using testing::writeFile;

const std::string kShare = KORVANE_BINARY_DIR "/bin/korvane-share";
const std::string kReceiver = KORVANE_BINARY_DIR "/bin/korvane-receiver";

class RemoteShares : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string lacking;
    if (!testing::RemotePlaces::areThere(lacking)) GTEST_SKIP() << "not installed: " << lacking;
    desktop.set("LC_ALL", "C.UTF-8");
    desktop.addService("it.drelk.korvane", kReceiver + " --json --name it.drelk.korvane --output " +
                                               (desktop.folder / "received").string());
    places = std::make_unique<testing::RemotePlaces>(desktop);
    url = places->mountServer();
  }

  void serve(const std::string& path, std::string_view content) const {
    const fs::path file = places->served() / path;
    fs::create_directories(file.parent_path());
    writeFile(file, content);
  }
  Finished share(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), kShare);
    return desktop.run(arguments);
  }

  /// The message of a dry run.
  static std::shared_ptr<ExtensionMessage> message(const std::string& line) {
    const auto opening = nlohmann::json::parse(line);
    return ExtensionMessage::ExtensionMessageWithUrl(
        NSURL::URLWithString(opening.at("urls").at(0).get<std::string>()).value());
  }
  /// The paths of its attachments.
  static std::vector<fs::path> attachments(const std::string& line) {
    std::vector<fs::path> paths;
    for (const Value& value : message(line)->attachments().value_or(List())) {
      paths.emplace_back(value.text());
    }
    return paths;
  }
  /// The folders of fetched files beside the container.
  std::vector<fs::path> fetched() const {
    std::vector<fs::path> folders;
    for (const auto& entry : fs::directory_iterator(desktop.folder / "data")) {
      if (entry.path().filename().string().starts_with(".korvane-")) folders.push_back(entry);
    }
    return folders;
  }
  bool somethingCame() const {
    for (const fs::path& folder : fetched()) {
      std::error_code gone;
      for (const auto& entry : fs::recursive_directory_iterator(folder, gone)) {
        if (entry.is_regular_file(gone) && entry.file_size(gone) > 0) return true;
      }
    }
    return false;
  }
  /// Starts a share of a file of which the second half never comes, and waits for the first.
  std::unique_ptr<testing::RunningProgram> startSilentShare() {
    serve("silent-film.mp4", std::string(300'000, 'x'));
    auto program = std::make_unique<testing::RunningProgram>(
        std::vector<std::string>{kShare, url + "/silent-film.mp4"}, desktop.environment, -1, -1);
    while (!somethingCame()) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return program;
  }

  testing::TestPlatform platform;
  testing::PrivateDesktop desktop;
  std::unique_ptr<testing::RemotePlaces> places;
  std::string url;
};

TEST_F(RemoteShares, FilesAndFoldersAreAttachedUnderTheirNames) {
  serve("caf\xE9 & co.txt", "one");
  serve("trip/notes.txt", "two");
  serve("trip/broken-film.mp4", std::string(300'000, 'x'));
  places->trash("report.txt", "report.txt", "three");
  const Finished finished =
      share({"--dry-run", url + "/caf%E9%20&%20co.txt", "https://a.example/", url + "/trip",
             url + "/none", "trash:///report.txt", "sftp://a.example/x"});
  EXPECT_EQ(finished.status, 0) << finished.errors;
  const std::vector<fs::path> paths = attachments(finished.output);
  ASSERT_THAT(paths, SizeIs(3)) << finished.output << finished.errors;
  EXPECT_EQ(paths[0].filename(), "caf\u00E9 & co.txt");
  EXPECT_EQ(paths[1].filename(), "trip");
  EXPECT_EQ(paths[2].filename(), "report.txt");
  EXPECT_EQ(testing::readFile(paths[0]), "one");
  EXPECT_EQ(testing::readFile(paths[1] / "notes.txt"), "two");
  EXPECT_EQ(testing::readFile(paths[2]), "three");
  EXPECT_EQ(fs::status(paths[0]).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_FALSE(fs::exists(paths[1] / "broken-film.mp4"));
  const std::string body = message(finished.output)->htmlBody().value_or("");
  EXPECT_THAT(body, HasSubstr("https://a.example/"));
  for (const char* scheme : {"dav:", "trash:", "sftp:", "file:"}) {
    EXPECT_THAT(body, Not(HasSubstr(scheme)));
  }
  EXPECT_THAT(finished.errors,
              HasSubstr(url + "/none is not in the message: there is no such file\n"));
  EXPECT_THAT(finished.errors,
              HasSubstr("sftp://a.example/x is not in the message: its place is not mounted; open "
                        "it in the file manager first\n"));
  EXPECT_THAT(finished.errors, HasSubstr(url + "/trip/broken-film.mp4 is not in the message: "));
  EXPECT_THAT(fetched(), IsEmpty());
}

TEST_F(RemoteShares, TheOutcomeIsToldAsJSON) {
  serve("a.txt", "one");
  const Finished finished = share({"--json", url + "/a.txt", "smb://a.example/share/x"});
  EXPECT_EQ(finished.status, 0) << finished.errors;
  const auto outcome = nlohmann::json::parse(finished.output);
  EXPECT_EQ(outcome.at("status"), "opened");
  ASSERT_THAT(outcome.at("missing"), SizeIs(1));
  EXPECT_EQ(outcome.at("missing").at(0).at("item"), "smb://a.example/share/x");
  const Finished failed = share({"--json", "smb://a.example/share/x"});
  EXPECT_EQ(failed.status, 1);
  EXPECT_THAT(fetched(), IsEmpty());
}

TEST_F(RemoteShares, OthersShareWhileSomethingIsFetched) {
  const auto silent = startSilentShare();
  const Finished other = share({"--dry-run", "https://a.example/"});
  EXPECT_EQ(other.status, 0) << other.errors;
  EXPECT_THAT(other.errors, Not(HasSubstr("waiting")));
  EXPECT_THAT(fetched(), SizeIs(1));
  EXPECT_TRUE(somethingCame());
  silent->signal(SIGKILL);
}

TEST_F(RemoteShares, ASignalEndsTheFetchAndLeavesNothing) {
  for (const int signal : {SIGTERM, SIGINT}) {
    const auto silent = startSilentShare();
    silent->signal(signal);
    EXPECT_EQ(silent->wait(), -signal);
    EXPECT_THAT(fetched(), IsEmpty());
  }
}

TEST_F(RemoteShares, WhatAKilledShareLeftGoesWithTheNext) {
  const auto silent = startSilentShare();
  silent->signal(SIGKILL);
  EXPECT_EQ(silent->wait(), -SIGKILL);
  EXPECT_THAT(fetched(), SizeIs(1));
  EXPECT_EQ(share({"--dry-run", "https://a.example/"}).status, 0);
  EXPECT_THAT(fetched(), IsEmpty());
}

}  // namespace
}  // namespace korvane
