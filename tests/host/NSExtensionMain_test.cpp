#include "host/NSExtensionMain.h"

#include <gmock/gmock.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

class ExtensionMain : public ::testing::Test {
 protected:
  ExtensionMain() {
    ::setenv("XDG_DATA_HOME", folder.path().c_str(), 1);
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  }
  ~ExtensionMain() override { Platform::install(Platform()); }

  int run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "korvane-share");
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const int status = NSExtensionMain(static_cast<int>(arguments.size()), pointers.data());
    output = ::testing::internal::GetCapturedStdout();
    errors = ::testing::internal::GetCapturedStderr();
    return status;
  }

  testing::TemporaryFolder folder;
  std::string output;
  std::string errors;
};

TEST_F(ExtensionMain, TellsAboutItself) {
  EXPECT_EQ(run({"--help"}), 0);
  EXPECT_THAT(output, HasSubstr("Usage: korvane-share"));
  EXPECT_EQ(run({"--version"}), 0);
  EXPECT_THAT(output, MatchesRegex("korvane-share .*\n"));
  EXPECT_EQ(errors, "");
}

TEST_F(ExtensionMain, WrongUsageTouchesNothing) {
  EXPECT_EQ(run({"--nonsense"}), 2);
  EXPECT_THAT(errors, MatchesRegex("korvane-share: unknown option \"--nonsense\"[^\n]*\n"));
  EXPECT_EQ(output, "");
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST_F(ExtensionMain, OneShareFromTheArgumentsToTheOpening) {
  const std::string path = folder.file("a.txt", "a");
  EXPECT_EQ(run({"--dry-run", "--identifier=it.drelk.korvane2.share", path, "--text", "t"}), 0);
  EXPECT_THAT(output, AllOf(HasSubstr("{\"application\":\"it.drelk.korvane2\",\"options\":131072,"),
                            HasSubstr("attachment_0="), ::testing::EndsWith("\"]}\n")));
  EXPECT_EQ(errors, "");
  EXPECT_TRUE(std::filesystem::exists(folder.path("Q7K4M2XW9P.korvane/SharedData/Share/a.txt")));
}

TEST_F(ExtensionMain, AFailedOpeningIsToldOnce) {
  EXPECT_EQ(run({"https://a.example/"}), 1);
  EXPECT_THAT(errors, MatchesRegex("korvane-share: not handed over: [^\n]+\n"));
}

}  // namespace
}  // namespace korvane
