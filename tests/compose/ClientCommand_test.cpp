#include "compose/ClientCommand.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "compose/MailtoURL.h"
#include "platform/NSString.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

using testing::contentOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using Words = std::vector<std::string>;

// Texts that were made to become something else.
const Words kHostile = {"',attachment='/etc/passwd",
                        "--attach",
                        "-a /etc/passwd",
                        "-x",
                        "%0Aattach=/etc/passwd",
                        "x&attach=/etc/passwd&attach=file:///etc/passwd",
                        "\"; --attach /etc/passwd",
                        "a, b & c;d",
                        "Attach: /etc/passwd",
                        "file:///etc/passwd",
                        "$(id) `id` \\ '%u' @@u @@",
                        "100%25 %s %U %f"};

class Command : public ::testing::Test {
 protected:
  Command() : folder{files.folder("cache/message-1")} {
    files.folder("cache/message-1/attachments");
  }

  MailDraft draftOf(const std::string& text) const {
    MailDraft draft;
    draft.subject = text;
    draft.to = {{text, "ann@a.example"}, {"", "-bob@b.example"}};
    draft.cc = {{"", "cc@c.example"}};
    draft.bcc = {{"", "bcc@d.example"}};
    draft.body = {text + "\nBcc: e@x\n\nAttach: /etc/passwd\n", "<p>" + text + "</p>"};
    for (std::string name : {text, std::string("second.txt")}) {
      std::ranges::replace(name, '/', '_');
      draft.attachments.push_back(
          {name, files.file("cache/message-1/attachments/" + name, "x"), 1});
    }
    return draft;
  }

  static InstalledClient client(MailRoad road, const Words& exec) {
    InstalledClient client;
    client.id = client.name = "client";
    client.road = road;
    client.exec = exec;
    client.program = {exec.front()};
    return client;
  }

  testing::TemporaryFolder files;
  MessageFolder folder;
  LeftOutList leftOut;
};

/// A command line as Qt's parser reads it: "--name=value" or "--name value", the rest positional.
struct QtLine {
  std::vector<std::pair<std::string, std::string>> options;
  Words positional;
};
QtLine readAsQt(const Words& words, const Words& withValue) {
  QtLine line;
  for (std::size_t at = 1; at < words.size(); ++at) {
    const std::string& word = words[at];
    if (!word.starts_with('-')) {
      line.positional.push_back(word);
      continue;
    }
    const auto equals = word.find('=');
    const std::string name = word.substr(0, equals);
    if (equals != word.npos) {
      line.options.emplace_back(name, word.substr(equals + 1));
    } else if (std::ranges::find(withValue, name) != withValue.end()) {
      line.options.emplace_back(name, words.at(++at));
    } else {
      line.options.emplace_back(name, "");
    }
  }
  return line;
}

TEST_F(Command, KMail) {
  for (const std::string& text : kHostile) {
    const MailDraft draft = draftOf(text);
    const auto command = commandFor(client(MailRoad::kmail, {"kmail"}), draft, folder, leftOut);
    const QtLine line = readAsQt(command.arguments, {"--msg", "--attach"});
    const std::string body = folder.path + "/text.txt";
    EXPECT_EQ(line.options, (std::vector<std::pair<std::string, std::string>>{
                                {"--composer", ""},
                                {"--subject", text},
                                {"--cc", "cc@c.example"},
                                {"--bcc", "bcc@d.example"},
                                {"--msg", body},
                                {"--attach", draft.attachments[0].path},
                                {"--attach", draft.attachments[1].path}}));
    // Nothing among the recipients reads as a URL with a scheme, which would be attached.
    EXPECT_THAT(line.positional, ElementsAre(mailboxText(draft.to[0]), "<-bob@b.example>"));
    EXPECT_EQ(line.positional[0].front(), '"');
    EXPECT_EQ(contentOf(body), draft.body.plain);
    EXPECT_FALSE(command.message);
    std::filesystem::remove(body);
  }
  EXPECT_THAT(leftOut, IsEmpty());
}

TEST_F(Command, ClawsMail) {
  for (const std::string& text : kHostile) {
    const MailDraft draft = draftOf(text);
    const auto command =
        commandFor(client(MailRoad::clawsMail, {"claws-mail"}), draft, folder, leftOut);
    const std::string file = folder.path + "/message.txt";
    EXPECT_THAT(command.arguments,
                ElementsAre("claws-mail", "--compose-from-file", file, "--attach",
                            draft.attachments[0].path, draft.attachments[1].path));
    // Headers end at the first empty line; one of each is there, and no other.
    const std::string written = contentOf(file);
    const auto end = written.find("\n\n");
    EXPECT_EQ(written.substr(0, end), "To: " + mailboxText(draft.to[0]) +
                                          ", <-bob@b.example>\nCc: cc@c.example\n"
                                          "Bcc: bcc@d.example\nSubject: " +
                                          text);
    EXPECT_EQ(written.substr(end + 2), draft.body.plain);
    EXPECT_EQ(command.message, file);
    std::filesystem::remove(file);
  }
}

TEST_F(Command, ClawsMailWithoutRecipientsStillHasATo) {
  MailDraft draft;
  draft.body.plain = "Attach: /etc/passwd\n";
  const auto command =
      commandFor(client(MailRoad::clawsMail, {"claws-mail"}), draft, folder, leftOut);
  EXPECT_EQ(contentOf(*command.message), "To: \n\nAttach: /etc/passwd\n");
}

TEST_F(Command, Sylpheed) {
  for (const std::string& text : kHostile) {
    leftOut.clear();
    const MailDraft draft = draftOf(text);
    const auto command =
        commandFor(client(MailRoad::sylpheed, {"sylpheed"}), draft, folder, leftOut);
    ASSERT_THAT(command.arguments, SizeIs(6));
    EXPECT_THAT(command.arguments[2], ::testing::StartsWith("mailto:"));
    EXPECT_THAT(command.arguments[2], Not(HasSubstr("bcc")));
    EXPECT_EQ(command.arguments[3], "--attach");
    EXPECT_EQ(command.arguments[4], draft.attachments[0].path);
    EXPECT_EQ(command.arguments[5], draft.attachments[1].path);
    ASSERT_THAT(leftOut, SizeIs(1));
    EXPECT_EQ(leftOut[0].item, "bcc@d.example");
  }
}

TEST_F(Command, AMessageFileIsOneArgumentByItsURI) {
  for (const std::string& text : kHostile) {
    const auto command = commandFor(client(MailRoad::unsentFile, {"thunderbird", "%u"}),
                                    draftOf(text), folder, leftOut);
    EXPECT_THAT(command.arguments,
                ElementsAre("thunderbird", fileURI(folder.path + "/message.eml")));
    const std::string written = contentOf(*command.message);
    EXPECT_THAT(written, HasSubstr("X-Unsent: 1\r\n"));
    EXPECT_THAT(written, Not(HasSubstr("\nFrom:")));
    std::filesystem::remove(*command.message);
  }
  EXPECT_THAT(leftOut, IsEmpty());
}

TEST_F(Command, ATerminalProgramGetsItsDraft) {
  testing::TemporaryFolder programs;
  std::filesystem::permissions(programs.file("xterm", "#!/bin/sh\n"),
                               std::filesystem::perms::owner_all);
  const std::string path = getenv("PATH");
  setenv("PATH", programs.path().c_str(), 1);
  const auto command =
      commandFor(client(MailRoad::draftFile, {"neomutt"}), draftOf("s"), folder, leftOut);
  setenv("PATH", path.c_str(), 1);
  EXPECT_THAT(command.arguments, ElementsAre(programs.path("xterm"), "-e", "neomutt", "-H",
                                             folder.path + "/message.eml"));
  // It would be sent along.
  EXPECT_THAT(contentOf(*command.message), Not(HasSubstr("X-Unsent")));
  EXPECT_THAT(contentOf(*command.message), Not(HasSubstr("\r")));
}

TEST_F(Command, AMailtoURLWithAttachmentsNamesOurFilesAlone) {
  for (const std::string& text : kHostile) {
    const MailDraft draft = draftOf(text);
    const auto command =
        commandFor(client(MailRoad::mailtoAttached, {"evolution", "%U"}), draft, folder, leftOut);
    ASSERT_THAT(command.arguments, SizeIs(2));
    const std::string& url = command.arguments[1];
    std::size_t attached = 0;
    for (auto at = url.find('&'); at != url.npos; at = url.find('&', at + 1)) {
      if (!std::string_view(url).substr(at).starts_with("&attach=")) continue;
      const std::string value = url.substr(at + 8, url.find('&', at + 1) - at - 8);
      EXPECT_EQ(bytesByReplacingPercentEscapes(value),
                fileURI(draft.attachments.at(attached++).path));
    }
    EXPECT_EQ(attached, 2U);
    EXPECT_FALSE(command.showFiles);
  }
  EXPECT_THAT(leftOut, IsEmpty());
}

TEST_F(Command, AFlatpakThatCannotBeGivenFilesIsToldAndTheyAreShown) {
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
  auto flatpak = client(MailRoad::mailtoAttached, {"flatpak", "run", "org.gnome.Evolution", "%U"});
  flatpak.flatpak = "org.gnome.Evolution";
  const auto command = commandFor(flatpak, draftOf("s"), folder, leftOut);
  EXPECT_TRUE(command.showFiles);
  EXPECT_THAT(leftOut, SizeIs(2));
  EXPECT_THAT(command.arguments.back(), Not(HasSubstr("attach")));
}

TEST_F(Command, AnyOtherProgramGetsTheTextAndTheFilesAreShown) {
  const auto command =
      commandFor(client(MailRoad::mailto, {"firefox", "%u"}), draftOf("s"), folder, leftOut);
  EXPECT_THAT(command.arguments, SizeIs(2));
  EXPECT_THAT(command.arguments[1], HasSubstr("bcc=bcc%40d.example&subject=s&body="));
  EXPECT_TRUE(command.showFiles);
  ASSERT_THAT(leftOut, SizeIs(2));
  EXPECT_THAT(leftOut[0].reason, HasSubstr("drag it in"));
  EXPECT_FALSE(
      commandFor(client(MailRoad::mailto, {"firefox", "%u"}), {}, folder, leftOut).showFiles);
}

TEST_F(Command, WhatMakesACommandTooLongIsLeftOut) {
  MailDraft draft;
  const TakenFile file{"a", files.file("cache/message-1/attachments/" + std::string(200, 'a')), 0};
  draft.attachments.assign(8000, file);
  const auto command = commandFor(client(MailRoad::kmail, {"kmail"}), draft, folder, leftOut);
  std::size_t size = 0;
  for (const std::string& word : command.arguments) size += word.size() + 9;
  EXPECT_LT(size, std::size_t{3} << 19);
  EXPECT_THAT(leftOut, Not(IsEmpty()));
  const auto attached = std::ranges::count(command.arguments, file.path);
  EXPECT_EQ(static_cast<std::size_t>(attached) + leftOut.size(), 8000U);
}

}  // namespace
}  // namespace korvane
