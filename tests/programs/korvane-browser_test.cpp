// korvane-browser as a browser runs it.
#include "host/BrowserMain.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "support/Places.h"
#include "tests/support/PrivateDesktop.h"

namespace korvane {
namespace {

using ::testing::HasSubstr;

class Browser : public ::testing::Test {
 protected:
  /// The answer to the bytes, without its length, which is checked.
  std::string answerTo(const std::string& bytes) {
    testing::writeFile(desktop.folder / "message", bytes);
    const testing::Finished finished =
        desktop.run({"sh", "-c", "exec \"$0\" chrome-extension://id/ <\"$1\"",
                     KORVANE_BINARY_DIR "/bin/korvane-browser", desktop.folder / "message"});
    EXPECT_EQ(finished.status, 0) << finished.errors;
    std::uint32_t length = 0;
    if (finished.output.size() < sizeof length) return "no answer";
    std::memcpy(&length, finished.output.data(), sizeof length);
    EXPECT_EQ(length, finished.output.size() - sizeof length);
    return finished.output.substr(sizeof length);
  }
  static std::string framed(const std::string& json) {
    const auto length = static_cast<std::uint32_t>(json.size());
    std::string bytes(sizeof length, '\0');
    std::memcpy(bytes.data(), &length, sizeof length);
    return bytes + json;
  }

  testing::PrivateDesktop desktop;
};

TEST_F(Browser, HandsThePageOver) {
  const std::string received = desktop.folder / "received";
  desktop.addService("it.drelk.korvane",
                     KORVANE_BINARY_DIR "/bin/korvane-receiver --json --output " + received);
  desktop.startBus();
  EXPECT_EQ(answerTo(framed(R"({"title":"Tea","url":"https://example.org/"})")),
            "{\"status\": \"opened\", \"application\": \"it.drelk.korvane\", \"missing\": []}\n");
  EXPECT_THAT(testing::readFile(received), HasSubstr("subject=Tea"));
}

TEST_F(Browser, SaysWhatIsMissing) {
  desktop.addService("it.drelk.korvane", KORVANE_BINARY_DIR "/bin/korvane-receiver --output " +
                                             (desktop.folder / "received").string());
  desktop.startBus();
  const std::string answer =
      answerTo(framed(R"({"url":"https://example.org/","imageData":"bm8gcGljdHVyZQ=="})"));
  EXPECT_THAT(answer, HasSubstr("\"status\": \"opened\""));
  EXPECT_THAT(answer, HasSubstr("\"reason\": \""));
}

TEST_F(Browser, RefusesWithAReason) {
  for (const std::string& bytes :
       {std::string(), std::string("\xFF\xFF\xFF\xFF"), framed("[]"), framed(R"({"file":"/x"})")}) {
    EXPECT_THAT(answerTo(bytes),
                HasSubstr("{\"status\": \"refused\", \"application\": null, "
                          "\"missing\": [{\"item\": \"\", \"reason\": \"the browser"));
  }
}

TEST_F(Browser, SaysWhyNothingWasOpened) {
  const std::string answer = answerTo(framed(R"({"url":"https://example.org/"})"));
  EXPECT_THAT(answer, HasSubstr("{\"status\": \"notOpened\""));
  EXPECT_THAT(answer, HasSubstr("\"reason\": \""));
}

}  // namespace
}  // namespace korvane
