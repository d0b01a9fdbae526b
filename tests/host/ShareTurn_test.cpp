#include "host/ShareTurn.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "platform/linux/LinuxPlatform.h"
#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

using std::chrono::milliseconds;

class ShareTurnTest : public ::testing::Test {
 protected:
  ShareTurnTest() { Platform::install(linuxPlatform()); }
  ~ShareTurnTest() override { Platform::install(Platform()); }

  testing::TemporaryFolder folder;
  const std::string container = folder.path("data/C");
};

TEST_F(ShareTurnTest, BelongsToOneShareAtATime) {
  std::optional<ShareTurn> first(std::in_place, container);
  EXPECT_TRUE(first->isOurs());
  EXPECT_FALSE(ShareTurn(container, milliseconds(50)).isOurs());
  EXPECT_TRUE(ShareTurn(folder.path("data/D"), milliseconds(0)).isOurs());  // another container
  std::atomic<bool> ended = false;
  std::thread second([&] {
    const ShareTurn turn(container);
    EXPECT_TRUE(turn.isOurs());
    EXPECT_TRUE(ended);
  });
  std::this_thread::sleep_for(milliseconds(50));
  ended = true;
  first.reset();
  second.join();
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
