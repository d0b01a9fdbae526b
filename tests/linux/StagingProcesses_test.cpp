// Shares of several real processes. Run with arguments, this program is one of them; see main.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>

#include "extension/ExtensionUtilities.h"
#include "linux/detail/FileCoordinator.h"
#include "linux/detail/FileManager.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"
#include "support/TestPlatform.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using testing::ChildProcess;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::TemporaryFolder;

void installServices(const std::string& container, std::shared_ptr<LogSink> log) {
  const ContainerRoot root(container);
  Platform services;
  services.fileManager = std::make_shared<FileManager>(FileManagerOptions{root});
  services.fileCoordinator = std::make_shared<FileCoordinator>(root);
  services.bundle = std::make_shared<testing::FakeBundle>();
  services.log = std::move(log);
  Platform::install(std::move(services));
}

class StagingProcessesTest : public ::testing::Test {
 protected:
  StagingProcessesTest() {
    installServices(container, log);
    ExtensionUtilities::ShareInit("Share");
  }
  ~StagingProcessesTest() override { Platform::install(Platform()); }

  std::vector<std::string> program(const std::string& mode, const std::string& argument) const {
    return {"/proc/self/exe", mode, container, argument};
  }
  std::vector<std::string> staged() const {
    std::vector<std::string> result;
    for (const auto& entry : fs::directory_iterator(container + "/SharedData/Share")) {
      result.push_back(entry.path().filename().string());
    }
    return result;
  }

  TemporaryFolder folder;
  std::shared_ptr<testing::RecordingLog> log = std::make_shared<testing::RecordingLog>();
  std::string container = folder.path("data/Q7K4M2XW9P.korvane");
};

TEST_F(StagingProcessesTest, SharesOfSeveralProcessesNeverMix) {
  // Each looks, inside an access of its own, at whole states only: what a share staged in one
  // access is there all at once, and a folder being copied is never seen half.
  for (int i = 0; i < 40; ++i) folder.file("album/" + std::to_string(i), std::string(5000, 'x'));
  std::vector<std::unique_ptr<ChildProcess>> processes;
  for (int i = 0; i < 3; ++i) {
    processes.push_back(
        std::make_unique<ChildProcess>(program("--share-often", folder.path("album"))));
  }
  processes.push_back(
      std::make_unique<ChildProcess>(program("--look-often", folder.path("album"))));
  for (auto& process : processes) EXPECT_EQ(process->wait(), 0) << process->readLine();
}

TEST_F(StagingProcessesTest, AShareWaitsForAnotherProcessesAccess) {
  ChildProcess holder(program("--hold", container + "/SharedData"));
  ASSERT_EQ(holder.readLine(), "held");
  ChildProcess sharer(program("--share", folder.file("a", "x")));
  ASSERT_EQ(sharer.readLine(), "asking");
  sharer.waitUntilAsleep();
  EXPECT_FALSE(sharer.hasOutput());
  EXPECT_THAT(staged(), IsEmpty());
  holder.writeLine("leave");
  EXPECT_EQ(sharer.readLine(), "shared 1");
  EXPECT_THAT(staged(), ElementsAre("a"));
}

TEST_F(StagingProcessesTest, AKilledShareHindersNoLaterOne) {
  for (int i = 0; i < 20; ++i) folder.file("album/" + std::to_string(i), std::string(5000, 'x'));
  for (int i = 0; i < 150; ++i) {
    ChildProcess victim(program("--share-often", folder.path("album")));
    // From before its first access to somewhere in a later one.
    for (int line = 0; line < i % 5; ++line) victim.readLine();
    victim.kill();
    // Killed between its removal and its creation it leaves no folder, which the next one logs.
    ExtensionUtilities::ShareInit("Share");
    ASSERT_THAT(staged(), IsEmpty());
    log->clear();
    ASSERT_EQ(ExtensionUtilities::ShareFiles("Share", {folder.path("album/7")}).size(), 1U);
    ASSERT_THAT(staged(), ElementsAre("7"));
    ASSERT_THAT(log->lines(), IsEmpty());
  }
}

// What the processes do.

bool inAccess(const std::string& path, const std::function<bool()>& work) {
  std::optional<NSError> error;
  bool good = false;
  NSFileCoordinator::coordinator()->coordinateWritingItemAtURL(
      NSURL::fileURLWithPath(path), NSFileCoordinatorWritingOptions::forDeleting, error,
      [&](const NSURL&) { good = work(); });
  return good && !error;
}

int hold(const std::string& path) {
  return inAccess(path,
                  [] {
                    std::cout << "held" << std::endl;
                    std::string line;
                    std::getline(std::cin, line);
                    return true;
                  })
             ? 0
             : 1;
}

int shareOnce(const std::string& path) {
  std::cout << "asking" << std::endl;
  const List staged = ExtensionUtilities::ShareFiles("Share", {path});
  std::cout << "shared " << staged.size() << std::endl;
  return 0;
}

int shareOften(const std::string& path) {
  for (int i = 0; i < 30; ++i) {
    ExtensionUtilities::ShareInit("Share");
    std::cout << "emptied" << std::endl;
    // Another share may empty the folder at any time, but never fail a copy half way.
    if (ExtensionUtilities::ShareFiles("Share", {path, path}).size() != 2) return 1;
    std::cout << "shared" << std::endl;
  }
  return 0;
}

int lookOften(const std::string& container, const std::string& source) {
  const std::string staging = container + "/SharedData/Share";
  const auto entries = [](const fs::path& folder) {
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
  };
  const auto whole = entries(source);
  for (int i = 0; i < 100; ++i) {
    const bool good = inAccess(staging, [&] {
      if (!fs::is_directory(staging) || entries(staging) % 2 != 0) return false;
      for (const auto& entry : fs::directory_iterator(staging)) {
        if (entries(entry.path()) != whole) return false;
      }
      return true;
    });
    if (!good) return 1;
  }
  return 0;
}

}  // namespace
}  // namespace korvane

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv, argv + argc);
  if (argc == 4 && arguments[1].starts_with("--")) {
    korvane::installServices(arguments[2], std::make_shared<korvane::testing::RecordingLog>());
    if (arguments[1] == "--hold") return korvane::hold(arguments[3]);
    if (arguments[1] == "--share") return korvane::shareOnce(arguments[3]);
    if (arguments[1] == "--share-often") return korvane::shareOften(arguments[3]);
    if (arguments[1] == "--look-often") return korvane::lookOften(arguments[2], arguments[3]);
  }
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
