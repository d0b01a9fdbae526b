#include "compose/DesktopExec.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using Words = std::vector<std::string>;

Words command(const Words& exec, const std::string& url) {
  InstalledClient client;
  client.name = "Mail & more";
  client.icon = "mail";
  client.entryPath = "/usr/share/applications/mail.desktop";
  client.exec = exec;
  return commandOfEntry(client, url).value();
}

TEST(DesktopExec, TheURLStandsInItsPlaceAsOneArgument) {
  const std::string url = "mailto:?subject=a%20b' \"c\" %u $(x) -o";
  EXPECT_EQ(command({"mail", "%u"}, url), (Words{"mail", url}));
  EXPECT_EQ(command({"mail", "%U", "--last"}, url), (Words{"mail", url, "--last"}));
  EXPECT_EQ(command({"mail", "--url=%u"}, url), (Words{"mail", "--url=" + url}));
  EXPECT_EQ(command({"mail"}, url), (Words{"mail", url}));
}

TEST(DesktopExec, OtherFieldCodes) {
  EXPECT_EQ(command({"mail", "%i", "-t", "%c", "%k", "100%%", "%d", "%u"}, "u"),
            (Words{"mail", "--icon", "mail", "-t", "Mail & more",
                   "/usr/share/applications/mail.desktop", "100%", "u"}));
  EXPECT_EQ(command({"mail", ""}, "u"), (Words{"mail", "", "u"}));
  EXPECT_EQ(command({"mail", "%f"}, "file:///a%20b.eml"), (Words{"mail", "/a b.eml"}));
}

TEST(DesktopExec, AFlatpaksFileForwardingStays) {
  EXPECT_EQ(
      command({"flatpak", "run", "--file-forwarding", "org.mozilla.Thunderbird", "@@u", "%u", "@@"},
              "file:///m.eml"),
      (Words{"flatpak", "run", "--file-forwarding", "org.mozilla.Thunderbird", "@@u",
             "file:///m.eml", "@@"}));
}

// In a process of its own, whose search path holds these programs alone.
bool inPathOf(const std::vector<std::string>& programs, const std::function<bool()>& work) {
  const testing::TemporaryFolder folder;
  for (const std::string& program : programs) {
    std::filesystem::permissions(folder.file(program, "#!/bin/sh\n"),
                                 std::filesystem::perms::owner_all);
  }
  return testing::inChild([&] {
           setenv("PATH", folder.path().c_str(), 1);
           return work();
         }) == 0;
}

TEST(DesktopExec, Terminals) {
  EXPECT_TRUE(inPathOf({"xterm", "konsole"}, [] {
    const auto words = commandInTerminal({"mutt", "-H", "a b"}).value();
    return words.size() == 5 && words[0].ends_with("/konsole") && words[1] == "-e" &&
           words[4] == "a b";
  }));
  EXPECT_TRUE(inPathOf({}, [] { return !commandInTerminal({"mutt"}); }));
  EXPECT_TRUE(inPathOf({}, [] {
    InstalledClient client;
    client.exec = {"aerc", "%u"};
    client.terminal = true;
    return !commandOfEntry(client, "mailto:");
  }));
}

}  // namespace
}  // namespace korvane
