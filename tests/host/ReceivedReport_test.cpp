#include "host/ReceivedReport.h"

#include <gmock/gmock.h>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestPlatform.h"

namespace korvane {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class Received : public ::testing::Test {
 protected:
  testing::TestPlatform platform;
  testing::TemporaryFolder folder;
};

TEST_F(Received, JSONIsOneLine) {
  EXPECT_EQ(receivedJSON({{"korvane://a?x", "b\"\n"}, {{"activation-token", "t"}}}),
            "{\"urls\": [\"korvane://a?x\", \"b\\\"\\n\"], "
            "\"platform_data\": {\"activation-token\": \"t\"}}\n");
  EXPECT_EQ(receivedJSON({}), "{\"urls\": [], \"platform_data\": {}}\n");
}

TEST_F(Received, TextShowsTheMessageAndWhatIsAttached) {
  const std::string picture = folder.file("a.png", "\x89PNG\r\n\x1a\n");
  const std::string text =
      receivedText({{"korvane://compose?subject=S%1B&attachment_0=" + picture, "not a url"}, {}},
                   "it.drelk.korvane");
  EXPECT_THAT(text, StartsWith("it.drelk.korvane was asked to open 2 URLs, in the background (no "
                               "activation token)\n  korvane://compose, "));
  EXPECT_THAT(text, HasSubstr("  Subject:     S<U+001B>\n"));
  EXPECT_THAT(text, HasSubstr("\n  What is attached:\n    a.png: 8 bytes, image/png\n"));
  EXPECT_THAT(text, HasSubstr("  not a URL, 9 bytes\n"));
  EXPECT_THAT(receivedText({{}, {{"activation-token", "t"}}}, "x"),
              HasSubstr("0 URLs, in the foreground"));
}

}  // namespace
}  // namespace korvane
