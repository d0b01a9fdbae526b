#include "linux/detail/ShareTurn.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "linux/LinuxPlatform.h"
#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

using std::chrono::milliseconds;

/// Sleeps no time, and counts.
struct WatchedClock : SystemClock {
  void sleep(double) override {
    ++sleeps;
    if (onSleep) onSleep();
  }
  int sleeps = 0;
  std::function<void()> onSleep;
};

class ShareTurnTest : public ::testing::Test {
 protected:
  ShareTurnTest() {
    Platform services = linuxPlatform();
    services.clock = clock;
    Platform::install(std::move(services));
  }
  ~ShareTurnTest() override { Platform::install(Platform()); }

  std::shared_ptr<WatchedClock> clock = std::make_shared<WatchedClock>();
  testing::TemporaryFolder folder;
  const std::string container = folder.path("data/C");
};

TEST_F(ShareTurnTest, BelongsToOneShareAtATime) {
  std::optional<ShareTurn> first(std::in_place, container);
  EXPECT_TRUE(first->isOurs());
  EXPECT_FALSE(ShareTurn(container, milliseconds(50)).isOurs());
  EXPECT_EQ(clock->sleeps, 3);
  EXPECT_TRUE(ShareTurn(folder.path("data/D"), milliseconds(0)).isOurs());  // another container
}

TEST_F(ShareTurnTest, ComesWhenTheOneBeforeEnds) {
  std::optional<ShareTurn> first(std::in_place, container);
  clock->onSleep = [&] {
    if (clock->sleeps == 5) first.reset();
  };
  EXPECT_TRUE(ShareTurn(container).isOurs());
  EXPECT_EQ(clock->sleeps, 5);
}

TEST_F(ShareTurnTest, ItsFileLiesBesideTheContainerForTheUserAlone) {
  const ShareTurn turn(container);
  EXPECT_TRUE(turn.isOurs());
  EXPECT_FALSE(std::filesystem::exists(container));
  struct stat status = {};
  ASSERT_EQ(::stat((container + ".share").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  ASSERT_EQ(::stat(folder.path("data").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700U);
}

TEST_F(ShareTurnTest, AShareGoesOnWithoutWhereThereIsNoFile) {
  EXPECT_FALSE(ShareTurn(std::nullopt).isOurs());
  folder.file("file");
  EXPECT_FALSE(ShareTurn(folder.path("file/C")).isOurs());
  const std::string target = folder.file("target", "kept");
  std::filesystem::create_symlink(target, folder.path("L.share"));
  EXPECT_FALSE(ShareTurn(folder.path("L")).isOurs());
  EXPECT_EQ(testing::contentOf(target), "kept");
}

}  // namespace
}  // namespace korvane
