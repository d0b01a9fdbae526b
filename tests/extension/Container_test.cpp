#include <gtest/gtest.h>

#include "extension/ExtensionUtilities.h"
#include "support/TestPlatform.h"

namespace korvane {
namespace {

/// Knows one group's container and nothing else.
class Containers : public NSFileManager {
 public:
  std::optional<NSURL> container = NSURL::URLWithString("file:///home/u/group/");
  std::vector<std::string> asked;

  std::optional<NSURL> containerURLForSecurityApplicationGroupIdentifier(
      std::string_view group) override {
    asked.emplace_back(group);
    return container;
  }
  bool removeItemAtURL(const NSURL&, std::optional<NSError>&) override { return false; }
  bool createDirectoryAtURL(const NSURL&, bool, std::optional<NSError>&) override {
    ADD_FAILURE() << "no folder is made here";
    return false;
  }
  bool copyItemAtPath(std::string_view, std::string_view, std::optional<NSError>&) override {
    return false;
  }
  bool fileExistsAtPath(std::string_view) override { return false; }
  bool directoryExistsAtPath(std::string_view) override { return false; }
  bool writeDataAtomically(const NSData&, std::string_view, std::optional<NSError>&) override {
    return false;
  }
};

struct ContainerTest : ::testing::Test {
  ContainerTest() {
    platform.services.fileManager = files;
    platform.install();
  }
  void runAs(Value identifier) {
    platform.services.bundle = std::make_shared<testing::FakeBundle>(std::move(identifier));
    platform.install();
  }

  testing::TestPlatform platform;
  std::shared_ptr<Containers> files = std::make_shared<Containers>();
};

TEST_F(ContainerTest, TheFolderIsThatOfTheEdition) {
  const std::pair<Value, const char*> rows[] = {
      {"it.drelk.korvane", "SharedData"},
      {"it.drelk.korvane.share", "SharedData"},
      {"it.drelk.korvane.beta8.share", "SharedDataBeta"},
      {"it.drelk.korvane.beta10", "SharedDataBeta"},
      {"it.drelk.korvane.beta10.share", "SharedDataBeta"},
      {"it.drelk.korvane.beta", "SharedDataBeta"},
      {"it.drelk.korvane.beta1", "SharedDataBeta"},
      {"it.drelk.korvane.beta80.share", "SharedDataBeta"},
      {"it.drelk.korvane.betamax", "SharedDataBeta"},
      {"it.drelk.korvane.Beta8", "SharedData"},
      {"it.drelk.korvane.bet", "SharedData"},
      {"it.drelk.korvane2", "SharedData"},
      {"it.drelk.korvane2.share", "SharedData"},
      {"it.drelk.korvane.pro", "SharedData"},
      {"it.drelk.korvane.pro.share", "SharedData"},
      {"x.it.drelk.korvane.beta8", "SharedData"},
      {"", "SharedData"},
      {Value(), "SharedData"},
      {5, "SharedData"},
  };
  for (const auto& [identifier, want] : rows) {
    runAs(identifier);
    EXPECT_EQ(ExtensionUtilities::GroupFolderName(), want) << identifier.description();
  }
}

TEST_F(ContainerTest, ThePathsAreBelowTheContainerOfTheGroup) {
  EXPECT_EQ(ExtensionUtilities::GroupPath(), files->container);
  EXPECT_EQ(files->asked, std::vector<std::string>{"Q7K4M2XW9P.korvane"});
  EXPECT_EQ(ExtensionUtilities::GroupDataPath()->absoluteString(),
            "file:///home/u/group/SharedData");
  runAs("it.drelk.korvane.beta8.share");
  EXPECT_EQ(ExtensionUtilities::GroupDataPath()->absoluteString(),
            "file:///home/u/group/SharedDataBeta");
}

TEST_F(ContainerTest, NothingIsKeptBetweenCalls) {
  ASSERT_TRUE(ExtensionUtilities::GroupDataPath());
  files->container = NSURL::URLWithString("file:///elsewhere");
  EXPECT_EQ(ExtensionUtilities::GroupDataPath()->absoluteString(), "file:///elsewhere/SharedData");
  EXPECT_EQ(files->asked.size(), 2U);
}

TEST_F(ContainerTest, WithoutAContainerThePathsAreAbsent) {
  files->container.reset();
  EXPECT_FALSE(ExtensionUtilities::GroupPath());
  EXPECT_FALSE(ExtensionUtilities::GroupDataPath());
  EXPECT_TRUE(platform.log->lines().empty());
}

}  // namespace
}  // namespace korvane
