#include "host/ViewMain.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

bool isShown = false;

int run(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "korvane-view");
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  return ViewMain(static_cast<int>(pointers.size()), pointers.data(), [] { isShown = true; });
}

TEST(ViewMain, DrawsAndShows) {
  const testing::TemporaryFolder folder;
  EXPECT_EQ(run({folder.path("view.png")}), 0);
  EXPECT_TRUE(isShown);
  EXPECT_FALSE(testing::contentOf(folder.path("view.png")).empty());
  isShown = false;
  EXPECT_EQ(run({folder.path("none/view.png")}), 1);
  EXPECT_FALSE(isShown);
  EXPECT_EQ(run({}), 2);
  EXPECT_EQ(run({"a", "b"}), 2);
}

}  // namespace
}  // namespace korvane
