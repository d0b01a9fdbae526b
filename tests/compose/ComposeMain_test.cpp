#include "compose/ComposeMain.h"

#include <gmock/gmock.h>

#include "support/MailDesktop.h"
#include "support/Places.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using testing::commandURL;
using ::testing::ElementsAre;
using testing::Finished;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::JsonReader;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

const std::string kCompose = KORVANE_BINARY_DIR "/bin/korvane-compose";

class ComposeProgram : public ::testing::Test {
 protected:
  Finished compose(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), kCompose);
    return desktop.run(arguments);
  }
  Value dryRun(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "--dry-run");
    const Finished finished = compose(arguments);
    EXPECT_EQ(finished.status, 0) << finished.errors;
    EXPECT_EQ(std::ranges::count(finished.output, '\n'), 1);
    return JsonReader::read(finished.output);
  }
  static Value at(const Value& dictionary, const char* key) {
    return dictionary.dictionary().objectForKey(key);
  }

  testing::MailDesktop desktop;
};

TEST_F(ComposeProgram, Usage) {
  EXPECT_EQ(compose({}).status, 2);
  EXPECT_EQ(compose({"--nonsense", "korvane://compose?"}).status, 2);
  EXPECT_EQ(compose({"korvane://compose?", "korvane://compose?"}).status, 2);
  EXPECT_EQ(compose({"--client"}).status, 2);
  EXPECT_EQ(compose({"--service", "korvane://compose?"}).status, 2);
  EXPECT_EQ(compose({"--help"}).status, 0);
  EXPECT_THAT(compose({"--help"}).output, StartsWith("Usage: "));
  EXPECT_THAT(compose({"--version"}).output, StartsWith("korvane-compose "));
}

TEST_F(ComposeProgram, WithoutAMailClient) {
  const Finished finished = compose({"korvane://compose?subject=a"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.errors,
            "korvane-compose: no mail client is installed: no program opens mailto: links\n");
  EXPECT_EQ(compose({"--client", "thunderbird", "korvane://compose?"}).status, 1);
  EXPECT_FALSE(fs::exists(desktop.folder / "cache"));
}

TEST_F(ComposeProgram, OnlyMessagesAreComposed) {
  desktop.addMailProgram("thunderbird", "thunderbird", "thunderbird %u");
  for (const char* url : {"korvane://open?x=y", "korvane://Compose?", "korvane://send?subject=a",
                          "mailto:a@b.example", "https://compose/?subject=a", "nothing",
                          "korvane://compose?subject=%zz"}) {
    const Finished finished = compose({url});
    EXPECT_EQ(finished.status, 2) << url;
    EXPECT_THAT(finished.errors, StartsWith("korvane-compose: ")) << url;
  }
}

TEST_F(ComposeProgram, ADryRunOpensNothingAndTellsAll) {
  desktop.addMailProgram("thunderbird", "thunderbird", "thunderbird %u");
  const auto file = desktop.stage("a b.txt");
  const Value told = dryRun({commandURL({{"subject", "Tea"},
                                         {"to", "ann@a.example;broken;"},
                                         {"attachment_0", file},
                                         {"attachment_1", "/etc/passwd"}})});
  EXPECT_EQ(at(told, "client"), Value("thunderbird"));
  const std::string message(at(told, "message").text());
  EXPECT_EQ(at(told, "command").list().at(1), Value("file://" + message));
  const std::string written = testing::readFile(message);
  EXPECT_THAT(written, HasSubstr("Subject: Tea\r\n"));
  EXPECT_THAT(written, HasSubstr("filename=\"a b.txt\""));
  EXPECT_THAT(written, Not(HasSubstr("passwd")));
  const List leftOut = at(told, "leftOut").list();
  ASSERT_EQ(leftOut.size(), 2U);
  EXPECT_EQ(at(leftOut[0], "item"), Value("/etc/passwd"));
  EXPECT_EQ(at(leftOut[1], "item"), Value("broken"));
}

TEST_F(ComposeProgram, TheClientIsStartedWithTheActivation) {
  desktop.addMailProgram("thunderbird", "thunderbird", "thunderbird %u");
  desktop.set("XDG_ACTIVATION_TOKEN", "a-token");
  EXPECT_EQ(compose({"korvane://compose?subject=Tea"}).status, 0);
  const auto words = desktop.started();
  ASSERT_THAT(words, SizeIs(2));
  EXPECT_THAT(words[0], StartsWith("file://"));
  EXPECT_EQ(words[1], "token=a-token");
}

TEST_F(ComposeProgram, AClientOfTheCallersChoice) {
  desktop.addMailProgram("thunderbird", "thunderbird", "thunderbird %u");
  desktop.addMailProgram("org.kde.kmail2", "kmail", "kmail -qwindowtitle %c %u");
  const auto file = desktop.stage("-x.txt");
  EXPECT_EQ(compose({"--client", "org.kde.kmail2",
                     commandURL({{"subject", "--attach"}, {"attachment_0", file}})})
                .status,
            0);
  auto words = desktop.started();
  ASSERT_THAT(words, SizeIs(7));
  EXPECT_EQ(words[0], "--composer");
  EXPECT_EQ(words[1], "--subject=--attach");
  EXPECT_EQ(words[2], "--msg");
  EXPECT_EQ(words[4], "--attach");
  EXPECT_EQ(testing::readFile(words[5]), "x");
  EXPECT_TRUE(words[5].ends_with("/-x.txt"));
}

TEST_F(ComposeProgram, ALongURLComesFromStandardInput) {
  desktop.addMailProgram("thunderbird", "thunderbird", "thunderbird %u");
  testing::writeFile(desktop.folder / "url",
                     commandURL({{"plainBody", std::string(300'000, 'a')}}) + "\n");
  const Finished finished = desktop.run(
      {"sh", "-c", kCompose + " --dry-run - <'" + (desktop.folder / "url").string() + "'"});
  EXPECT_EQ(finished.status, 0) << finished.errors;
  EXPECT_THAT(finished.output, HasSubstr("\"leftOut\": []"));
}

TEST_F(ComposeProgram, LargeAttachmentsAreRemarkedUpon) {
  desktop.addMailProgram("org.kde.kmail2", "kmail", "kmail %u");
  const auto file = desktop.stage("large");
  fs::resize_file(file, 25'000'000);
  const Finished finished = compose({"--dry-run", commandURL({{"attachment_0", file}})});
  EXPECT_THAT(finished.errors, HasSubstr("many mail servers refuse more than 25 MB"));
  fs::resize_file(file, 24'999'999);
  EXPECT_THAT(compose({"--dry-run", commandURL({{"attachment_0", file}})}).errors, IsEmpty());
}

TEST_F(ComposeProgram, AMessageFileNeedsNoCopiesOfTheAttachments) {
  desktop.addMailProgram("thunderbird", "thunderbird", "thunderbird %u");
  const Value told = dryRun({commandURL({{"attachment_0", desktop.stage("a")}})});
  const fs::path message = std::string(at(told, "message").text());
  EXPECT_TRUE(fs::is_empty(message.parent_path() / "attachments"));
  EXPECT_EQ(fs::status(message).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(ComposeProgram, WhatCannotBeWrittenIsTold) {
  desktop.addMailProgram("thunderbird", "thunderbird", "thunderbird %u");
  testing::writeFile(desktop.folder / "cache", "a file");
  const Finished finished = compose({"korvane://compose?"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_THAT(finished.errors, HasSubstr("the folder for messages cannot be made"));
}

}  // namespace
}  // namespace korvane
