#include "host/SampleView.h"

#include <gtest/gtest.h>

#include "linux/detail/Images.h"
#include "platform/NSData.h"
#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

TEST(SampleView, FollowsItsContainer) {
  const auto container = sampleView(10, 20);
  container->setFrame(NSMakeRect(0, 0, 30, 40));
  ASSERT_EQ(container->subviews().size(), 1U);
  EXPECT_EQ(container->subviews()[0]->frame().size.width, 30);
  EXPECT_EQ(container->subviews()[0]->frame().size.height, 40);
}

TEST(SampleView, IsDrawnIntoAPicture) {
  const testing::TemporaryFolder folder;
  const std::string path = folder.path("view.png");
  ASSERT_TRUE(writeSampleView(path));
  const std::string bytes = testing::contentOf(path);
  const auto bitmap = Images().decode(NSData(bytes.begin(), bytes.end()));
  ASSERT_TRUE(bitmap);
  EXPECT_EQ(bitmap->width, 480U);
  EXPECT_EQ(bitmap->height, 360U);
  EXPECT_FALSE(writeSampleView(folder.path("none/view.png")));
}

}  // namespace
}  // namespace korvane
