#include "host/ReceiverMain.h"

#include <gmock/gmock.h>

#include "tests/support/PrivateDesktop.h"

#include "support/Places.h"

namespace korvane {
namespace {

using ::testing::HasSubstr;

class Receiver : public ::testing::Test {
 protected:
  testing::Finished run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), KORVANE_BINARY_DIR "/bin/korvane-receiver");
    return desktop.run(arguments);
  }
  testing::PrivateDesktop desktop;
};

TEST_F(Receiver, TakesURLsFromTheCommandLine) {
  desktop.set("XDG_ACTIVATION_TOKEN", "t");
  const testing::Finished finished = run({"--json", "korvane://a"});
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.output,
            "{\"urls\": [\"korvane://a\"], \"platform_data\": {\"activation-token\": \"t\"}}\n");
  EXPECT_EQ(run({"--refuse", "korvane://a"}).status, 1);
}

TEST_F(Receiver, AppendsToItsFile) {
  const std::string file = desktop.folder / "received";
  run({"--json", "--output", file, "korvane://a"});
  run({"--json", "--output=" + file, "korvane://b"});
  EXPECT_EQ(testing::readFile(file),
            "{\"urls\": [\"korvane://a\"], \"platform_data\": {}}\n"
            "{\"urls\": [\"korvane://b\"], \"platform_data\": {}}\n");
}

TEST_F(Receiver, WrongUsage) {
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"--nonsense"}, {"--idle=soon"}, {"--name", "no name"}}) {
    EXPECT_EQ(run(arguments).status, 2) << arguments[0];
  }
  EXPECT_THAT(run({"--help"}).output, HasSubstr("Usage: korvane-receiver [OPTION]... "));
  EXPECT_EQ(run({"--once"}).status, 1);  // there is no bus
}

}  // namespace
}  // namespace korvane
