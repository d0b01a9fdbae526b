// The examples that share from a program of one's own: a request on a pipe, an outcome back.

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "model/ExtensionMessage.h"
#include "tests/support/PrivateDesktop.h"

#include "support/Places.h"

namespace korvane {
namespace {

using testing::Finished;
using ::testing::HasSubstr;
using testing::PrivateDesktop;
using testing::readFile;
using testing::writeFile;

const std::string kSource = KORVANE_SOURCE_DIR "/examples/request/share";

class RequestExample : public ::testing::TestWithParam<std::vector<std::string>> {
 protected:
  RequestExample() {
    desktop.set("PATH", KORVANE_BINARY_DIR "/bin:/usr/local/bin:/usr/bin:/bin");
    desktop.set("LC_ALL", "C.UTF-8");
    writeFile(document, "tea");
  }

  /// The example with these arguments.
  Finished share(const std::vector<std::string>& arguments) const {
    std::vector<std::string> command = GetParam();
    command.insert(command.end(), arguments.begin(), arguments.end());
    return desktop.run(command);
  }

  PrivateDesktop desktop;
  const std::string received = desktop.folder / "received";
  const std::string document = desktop.folder / "caf\xE9 100% #1.txt";  // not UTF-8
};

TEST_P(RequestExample, SharesAPageAndFiles) {
  desktop.addService("it.drelk.korvane",
                     KORVANE_BINARY_DIR "/bin/korvane-receiver --json --output " + received);
  desktop.startBus();
  const Finished finished =
      share({"A \"page\" on t\u00E9a", "https://example.org/tea?a=1&b=2", document, "/no/file"});
  EXPECT_EQ(finished.status, 0) << finished.errors;
  EXPECT_THAT(finished.output, ::testing::StartsWith("opened\n/no/file: "));
  const std::string line = readFile(received);
  const std::size_t url = line.find("korvane://");
  ASSERT_NE(url, line.npos) << line;
  const auto message = ExtensionMessage::ExtensionMessageWithUrl(
      NSURL::URLWithString(line.substr(url, line.find('"', url) - url)).value());
  EXPECT_EQ(message->subject(), Value("A \"page\" on t\u00E9a"));
  EXPECT_THAT(message->htmlBody().value_or(""), HasSubstr("https://example.org/tea?a=1&b=2"));
  EXPECT_EQ(message->attachments().value_or(List()).size(), 1U);
}

TEST_P(RequestExample, SaysWhyNothingWasOpened) {
  desktop.startBus();
  const Finished finished = share({"A page", "https://example.org/tea"});
  EXPECT_EQ(finished.status, 1) << finished.errors;
  EXPECT_THAT(finished.output, HasSubstr("notOpened\nhttps://example.org/tea: "));
}

INSTANTIATE_TEST_SUITE_P(
    Languages, RequestExample,
    ::testing::Values(std::vector<std::string>{KORVANE_BINARY_DIR
                                               "/examples/example_request_share"},
                      std::vector<std::string>{"python3", kSource + ".py"},
                      std::vector<std::string>{"node", kSource + ".mjs"}));

}  // namespace
}  // namespace korvane
