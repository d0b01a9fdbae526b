// korvane-share from end to end: the program itself, a session bus of its own, and a receiver that
// stands in for the mail client.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>

#include "linux/detail/FileCoordinator.h"
#include "linux/detail/Images.h"
#include "model/ExtensionMessage.h"
#include "tests/support/Pictures.h"
#include "tests/support/PrivateDesktop.h"

#include "support/Places.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using testing::Finished;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using testing::PrivateDesktop;
using testing::readFile;
using ::testing::SizeIs;
using ::testing::StartsWith;
using testing::writeFile;

const std::string kShare = KORVANE_BINARY_DIR "/bin/korvane-share";
const std::string kReceiver = KORVANE_BINARY_DIR "/bin/korvane-receiver";
constexpr const char* kRegular = "it.drelk.korvane";

/// The URLs in a line of JSON with "urls": [...]; they hold no character that JSON escapes.
std::vector<NSURL> urlsOf(const std::string& line) {
  std::vector<NSURL> urls;
  std::size_t at = line.find("\"urls\":");
  while ((at = line.find("\"korvane:", at)) != std::string::npos) {
    const std::size_t end = line.find('"', at + 1);
    urls.push_back(NSURL::URLWithString(line.substr(at + 1, end - at - 1)).value());
    at = end;
  }
  return urls;
}

class Share : public ::testing::Test {
 protected:
  Share() {
    fs::create_directories(things);
    // Image types are looked up in the system's data folder.
    desktop.set("XDG_DATA_DIRS", (desktop.folder / "system").string() + ":/usr/share");
    desktop.set("LC_ALL", "C.UTF-8");
  }

  std::string file(const std::string& name, std::string_view content) const {
    fs::create_directories((things / name).parent_path());
    writeFile(things / name, content);
    return things / name;
  }
  std::string picture(const std::string& name) const {
    const NSData data =
        Images().encode(testing::paintLandscape(64, 48), NSBitmapImageFileType::PNG).value();
    return file(name, {reinterpret_cast<const char*>(data.data()), data.size()});
  }

  /// The mail client of an edition that notes in `received` what it gets.
  void installClient(const std::string& identifier = kRegular, const std::string& more = "") {
    desktop.addService(identifier, kReceiver + " --json --name " + identifier + " --output " +
                                       received(identifier) + more);
  }
  std::string received(const std::string& identifier) const {
    return desktop.folder / ("received-" + identifier);
  }

  Finished share(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), kShare);
    return desktop.run(arguments);
  }
  /// With the bytes of a file on standard input.
  Finished shareInput(const std::string& path, const std::string& arguments) const {
    return desktop.run(
        {"sh", "-c", "'" + kShare + "' --dry-run " + arguments + " < '" + path + "'"});
  }

  /// The message of a line of JSON, which must hold exactly one URL.
  static std::shared_ptr<ExtensionMessage> message(const std::string& line) {
    const std::vector<NSURL> urls = urlsOf(line);
    EXPECT_THAT(urls, SizeIs(1)) << line.substr(0, 2000);
    return ExtensionMessage::ExtensionMessageWithUrl(urls.at(0));
  }
  static std::string body(const std::string& line) {
    return message(line)->htmlBody().value_or("");
  }
  /// The names of the attachments, each checked to be a private file or folder in the staging
  /// folder.
  std::vector<std::string> attachments(const std::string& line,
                                       const std::string& data = "SharedData") const {
    std::vector<std::string> names;
    for (const Value& value : message(line)->attachments().value_or(List())) {
      const fs::path path(value.text());
      EXPECT_EQ(path.parent_path(), desktop.folder / "data/Q7K4M2XW9P.korvane" / data / "Share");
      struct stat status {};
      EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
      EXPECT_EQ(status.st_mode & 0777, S_ISDIR(status.st_mode) ? 0700U : 0600U) << path;
      names.push_back(path.filename());
    }
    return names;
  }

  PrivateDesktop desktop;
  const fs::path things = desktop.folder / "things";
};

TEST_F(Share, HelpAndVersion) {
  const Finished help = share({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_THAT(help.output, StartsWith("Usage: korvane-share [OPTION]... [ITEM]..."));
  EXPECT_EQ(help.errors, "");
  const Finished version = share({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_THAT(version.output, MatchesRegex("korvane-share [0-9.]+\n"));
}

TEST_F(Share, WrongUsageAndUnreadableRequestsAreTwo) {
  const std::string request = file("request.json", R"({"items": [{"titel": "x"}]})");
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"--nonsense\n"}, {"--title"}, {""}, {"--request", request}, {"--request", "/none"}}) {
    const Finished finished = share(arguments);
    EXPECT_EQ(finished.status, 2) << arguments[0];
    EXPECT_THAT(finished.errors, MatchesRegex("korvane-share: [^\n]+\n")) << arguments[0];
    EXPECT_EQ(finished.output, "");
  }
  EXPECT_THAT(share({"--request", request}).errors, HasSubstr("unknown key items[0].\"titel\""));
  EXPECT_FALSE(fs::exists(desktop.folder / "data/Q7K4M2XW9P.korvane"));
}

TEST_F(Share, ADryRunPrintsOneLine) {
  const Finished finished = share({"--dry-run", "--title", "A & b", "https://a.example/?x=1&y=2"});
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.errors, "");
  EXPECT_EQ(finished.output,
            R"({"application":"it.drelk.korvane","options":131072,"urls":["korvane://compose?)"
            "htmlBody=%3Ca%20href%3D%22https%3A%2F%2Fa.example%2F%3Fx%3D1%26y%3D2%22%3E"
            "https%3A%2F%2Fa.example%2F%3Fx%3D1%26y%3D2%3C%2Fa%3E&subject=A%20%26%20b\"]}\n");
}

TEST_F(Share, EverythingArrivesOverTheBus) {
  installClient();
  desktop.startBus();
  desktop.set("XDG_ACTIVATION_TOKEN", "token-1");
  desktop.set("DESKTOP_STARTUP_ID", "startup-2");
  const std::string report = file("Report, 100% = a&b.pdf", "%PDF-1.4 report");
  const std::string photo = picture("photo.png");
  const Finished finished = share({"https://a.example/article", report, "--title", "A good read",
                                   "--text", "Look <here>:\nfine", "--image", photo, photo});
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.errors, "");
  EXPECT_EQ(finished.output, "");

  const std::string line = readFile(received(kRegular));
  EXPECT_THAT(line, HasSubstr("\"activation-token\": \"token-1\""));
  EXPECT_THAT(line, HasSubstr("\"desktop-startup-id\": \"startup-2\""));
  EXPECT_EQ(message(line)->subject(), Value("A good read"));
  EXPECT_THAT(body(line), AllOf(HasSubstr("Look &lt;here&gt;:<br>"),
                                HasSubstr("<a href=\"https://a.example/article\">")));
  EXPECT_THAT(attachments(line),
              ::testing::UnorderedElementsAre("Report, 100% = a&b.pdf", "photo.png", "image.png"));
  const fs::path staged = desktop.folder / "data/Q7K4M2XW9P.korvane/SharedData/Share";
  EXPECT_EQ(readFile(staged / "Report, 100% = a&b.pdf"), "%PDF-1.4 report");
  EXPECT_EQ(readFile(staged / "photo.png"), readFile(photo));
  EXPECT_THAT(readFile(staged / "image.png"), StartsWith("\x89PNG"));
}

TEST_F(Share, EveryEditionGetsItsOwn) {
  for (const char* identifier : {"it.drelk.korvane", "it.drelk.korvane.beta8",
                                 "it.drelk.korvane.beta10", "it.drelk.korvane2"}) {
    installClient(identifier);
  }
  desktop.startBus();
  const std::string path = file("a.txt", "a");
  struct Case {
    const char* own;
    const char* client;
    const char* data;
  };
  for (const Case& c :
       {Case{"it.drelk.korvane.beta8.share", "it.drelk.korvane.beta8", "SharedDataBeta"},
        Case{"it.drelk.korvane.beta10.share", "it.drelk.korvane.beta10", "SharedDataBeta"},
        Case{"it.drelk.korvane2.share", "it.drelk.korvane2", "SharedData"},
        Case{"it.drelk.korvane.pro.share", "it.drelk.korvane", "SharedData"}}) {
    EXPECT_EQ(share({"--identifier", c.own, path}).status, 0);
    EXPECT_THAT(attachments(readFile(received(c.client)), c.data), ElementsAre("a.txt")) << c.own;
    for (const auto& entry : fs::directory_iterator(desktop.folder)) {  // nobody else got it
      if (entry.path().filename().string().starts_with("received-")) {
        EXPECT_EQ(entry.path(), received(c.client));
      }
    }
    fs::remove(received(c.client));
  }
}

TEST_F(Share, WithoutTheApplicationItIsNotHandedOver) {
  desktop.startBus();
  const Finished finished = share({"https://a.example/"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_THAT(finished.errors,
              MatchesRegex("korvane-share: not handed over: [^\n]*it\\.drelk\\.korvane[^\n]*\n"));
}

TEST_F(Share, ARefusalIsReportedWithItsReason) {
  installClient(kRegular, " --refuse");
  desktop.startBus();
  const Finished finished = share({"https://a.example/secret"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_THAT(finished.errors,
              MatchesRegex("korvane-share: not handed over: [^\n]*refused[^\n]*\n"));
  EXPECT_THAT(finished.errors, Not(HasSubstr("secret")));
}

TEST_F(Share, AnEntryWithoutAServiceIsRun) {
  desktop.addEntry(kRegular, kReceiver + " --json --output " + received(kRegular) + " %U");
  ASSERT_EQ(mkfifo(received(kRegular).c_str(), 0600), 0);  // can be waited on
  std::string line;
  std::thread reader([&] { line = readFile(received(kRegular)); });
  EXPECT_EQ(share({"--title=T", "https://a.example/"}).status, 0);
  reader.join();
  EXPECT_EQ(message(line)->subject(), Value("T"));
}

TEST_F(Share, AClientThatIsRunHasThePriorityOfWhoShares) {
  const std::string out = received(kRegular);
  const std::string script = file(
      "client", "#!/bin/sh\n{ cut -d' ' -f19 /proc/self/stat; ionice -p $$; } > " + out + "\n");
  fs::permissions(script, fs::perms::owner_all);
  desktop.addEntry(kRegular, script + " %U");
  // What it is without a share.
  ASSERT_EQ(desktop.run({script}).status, 0);
  const std::string normal = readFile(out);
  ASSERT_THAT(normal, Not(IsEmpty()));
  fs::remove(out);
  ASSERT_EQ(mkfifo(out.c_str(), 0600), 0);  // can be waited on
  std::string shared;
  std::thread reader([&] { shared = readFile(out); });
  EXPECT_EQ(share({file("a.txt", "a"), "--image", picture("photo.png")}).status, 0);
  reader.join();
  EXPECT_EQ(shared, normal);
}

TEST_F(Share, WithoutATurnNothingBegins) {
  const fs::path lock = desktop.folder / "data/Q7K4M2XW9P.korvane.share";
  const fs::path staged = desktop.folder / "data/Q7K4M2XW9P.korvane/SharedData/Share/old";
  fs::create_directories(staged.parent_path());
  writeFile(staged, "old");
  const auto expectRefusal = [&](const std::string& why) {
    const Finished finished = share({"--dry-run", "https://a.example/", file("a.txt", "a")});
    EXPECT_EQ(finished.status, 1);
    EXPECT_EQ(finished.errors, "korvane-share: not handed over: the lock file of shares, " +
                                   lock.string() + ", is " + why + ", and only " +
                                   (why == "a symbolic link" ? "a regular file" : "one") +
                                   " will do\n");
    EXPECT_EQ(finished.output, "");
    EXPECT_EQ(readFile(staged), "old");
    fs::remove(lock);
  };
  fs::create_symlink(file("target", ""), lock);
  expectRefusal("a symbolic link");
  ASSERT_EQ(mkfifo(lock.c_str(), 0600), 0);
  expectRefusal("not a regular file");
  fs::create_directory(lock);
  expectRefusal("not a regular file");
}

TEST_F(Share, WhereNothingCanBeStagedLinksAndTextsAreShared) {
  desktop.set("XDG_DATA_HOME", (desktop.folder / "caf\xE9").string());
  const Finished finished =
      share({"--dry-run", "https://a.example/", "--text", "hello", file("a.txt", "a")});
  EXPECT_EQ(finished.status, 0);
  EXPECT_THAT(body(finished.output), AllOf(HasSubstr("hello"), HasSubstr("https://a.example/")));
  EXPECT_THAT(attachments(finished.output), IsEmpty());
  EXPECT_THAT(finished.errors, AllOf(HasSubstr("a.txt is not in the message: "), EndsWith("\n")));
  EXPECT_FALSE(fs::exists(desktop.folder / "caf\xE9"));
}

TEST_F(Share, WhatIsLeftOutOfAFolderIsTold) {
  file("album/photo", "photo");
  const std::string secret = file("secret", "secret");
  fs::create_symlink("../secret", things / "album/link");
  fs::create_symlink("photo", things / "album/again");
  const Finished finished = share({"--dry-run", things / "album"});
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.errors, "korvane-share: " + (things / "album/link").string() +
                                 " is not in the message: a link that leads out of the folder is "
                                 "not followed\n");
  ASSERT_THAT(attachments(finished.output), ElementsAre("album"));
  const fs::path staged = desktop.folder / "data/Q7K4M2XW9P.korvane/SharedData/Share/album";
  EXPECT_EQ(readFile(staged / "again"), "photo");
  EXPECT_FALSE(fs::exists(staged / "link"));
  // What was staged can be shared once more.
  EXPECT_THAT(attachments(share({"--dry-run", staged / "photo", staged}).output),
              ElementsAre("photo", "album"));
}

TEST_F(Share, WhatCannotBeStagedDoesNotStopTheRest) {
  const std::string good = file("good.txt", "good");
  const std::string noImage = file("no-image.png", "this is not an image");
  const std::string pipe = things / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const Finished finished =
      share({"--dry-run", "none.txt", pipe, "--image", noImage, "--image", pipe,
             "file://elsewhere.example/x", "--html", "/none.html", good});
  EXPECT_EQ(finished.status, 0);
  EXPECT_THAT(attachments(finished.output), ElementsAre("good.txt"));
  const auto line = [](const std::string& item, const std::string& reason) {
    return "korvane-share: " + item + " is not in the message: " + reason + "\n";
  };
  EXPECT_EQ(
      finished.errors,
      line("none.txt", "No such file or directory") + line(pipe, "neither a file nor a folder") +
          line(noImage, "it is not a picture that can be read") + line(pipe, "not a regular file") +
          line("file://elsewhere.example/x", "the URL does not name a file of this machine") +
          line("/none.html", "No such file or directory"));
}

TEST_F(Share, AnEntryThatCannotBeCopiedDoesNotStopItsFolder) {
  file("folder/sub/good", "x");
  fs::create_symlink("/etc/passwd", things / "folder/sub/out");
  ASSERT_EQ(mkfifo((things / "folder/pipe").c_str(), 0600), 0);
  const std::string folder = things / "folder";
  const Finished finished = share({"--dry-run", folder});
  EXPECT_EQ(finished.status, 0);
  EXPECT_THAT(attachments(finished.output), ElementsAre("folder"));
  EXPECT_THAT(finished.errors,
              AllOf(HasSubstr("korvane-share: " + folder + "/sub/out is not in the message: "),
                    HasSubstr("korvane-share: " + folder + "/pipe is not in the message: ")));
  const fs::path staged = desktop.folder / "data/Q7K4M2XW9P.korvane/SharedData/Share/folder";
  EXPECT_EQ(readFile(staged / "sub/good"), "x");
  EXPECT_FALSE(fs::exists(staged / "sub/out"));
}

TEST_F(Share, TheOutcomeIsOneLineOfJSON) {
  installClient();
  desktop.startBus();
  const auto outcome = [](const Finished& finished) {
    EXPECT_THAT(finished.output, EndsWith("}\n"));
    return nlohmann::json::parse(finished.output);
  };
  using nlohmann::json;
  const std::string good = file("good.txt", "good");
  const Finished opened = share({"--json", good, "/none\x1b.txt"});
  EXPECT_EQ(opened.status, 0);
  EXPECT_EQ(outcome(opened),
            json::parse(R"({"status": "opened", "application": "it.drelk.korvane", "missing":
                [{"item": "/none\u001b.txt", "reason": "No such file or directory"}]})"));
  EXPECT_EQ(outcome(share({"--json", good}))["missing"], json::array());

  const Finished refused = share({"--json", "--request", "/none"});
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(outcome(refused),
            json::parse(R"({"status": "refused", "application": null, "missing": [{"item":
                "the request", "reason": "unreadable request (/none): No such file or directory"}]})"));
  EXPECT_EQ(outcome(share({"--nonsense", "--json"}))["status"], "refused");

  const Finished unopened = share({"--json", "--identifier", "it.drelk.korvane2.share", "aa:b"});
  EXPECT_EQ(unopened.status, 1);
  const json told = outcome(unopened);
  EXPECT_EQ(told["status"], "notOpened");
  EXPECT_EQ(told["application"], "it.drelk.korvane2");
  EXPECT_EQ(told["missing"][0]["item"], "aa:b");
  EXPECT_EQ(told["missing"][0]["reason"], "no application it.drelk.korvane2 is installed");

  EXPECT_EQ(share({"--json", "--dry-run", good}).status, 2);
}

TEST_F(Share, TextsOfAnyEncodingInEveryLocale) {
  for (const char* locale : {"C", "C.UTF-8", "de_DE.UTF-8"}) {
    desktop.set("LC_ALL", locale);
    const Finished finished = share({"--dry-run", "--title", "Grüße", "--text", "caf\xE9",
                                     "https://a.example/", file("n\xE4me.txt", "x")});
    EXPECT_EQ(finished.status, 0) << locale << finished.errors;
    EXPECT_EQ(message(finished.output)->subject(), Value("Grüße"));
    EXPECT_THAT(body(finished.output), HasSubstr("café"));
    EXPECT_THAT(attachments(finished.output), ElementsAre("näme.txt"));
  }
}

TEST_F(Share, AClosedStandardOutputIsNotTheLockFile) {
  const Finished finished = desktop.run(
      {"sh", "-c", "exec '" + kShare + "' --dry-run 'https://a.example/' >&- <&- 2>&-"});
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(readFile(desktop.folder / "data/Q7K4M2XW9P.korvane.share"), "");
}

TEST_F(Share, OutputThatCannotBeWrittenIsTold) {
  for (const std::string arguments :
       {"--help", "--version", "--dry-run aa:b", "--json --nonsense"}) {
    const Finished finished =
        desktop.run({"sh", "-c", "exec '" + kShare + "' " + arguments + " > /dev/full"});
    EXPECT_EQ(finished.status, 1) << arguments;
    EXPECT_THAT(finished.errors, HasSubstr("standard output cannot be written: No space left"))
        << arguments;
  }
}

TEST_F(Share, AFileBeyondTheLimitOfFileSizesIsTold) {
  const std::string large = file("large", std::string(100'000, 'x'));
  const std::string small = file("small", "x");
  const Finished finished = desktop.run(
      {"bash", "-c",
       "ulimit -f 50; exec '" + kShare + "' --dry-run '" + large + "' '" + small + "' 2> '" +
           (things / "errors").string() + "' > '" + (things / "output").string() + "'"});
  EXPECT_EQ(finished.status, 0);
  EXPECT_THAT(attachments(readFile(things / "output")), ElementsAre("small"));
  EXPECT_THAT(readFile(things / "errors"),
              HasSubstr(large + " is not in the message: File too large\n"));
}

TEST_F(Share, AnInterruptedShareLeavesNothingHalfAndSaysSo) {
  installClient(kRegular, " --silent");
  desktop.startBus();
  const fs::path staged = desktop.folder / "data/Q7K4M2XW9P.korvane/SharedData/Share";
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const testing::Pipe errors;
    testing::RunningProgram sharing({kShare, file("a.txt", "x")}, desktop.environment, -1,
                                    errors.write);
    const_cast<testing::Pipe&>(errors).closeWriting();
    while (!fs::exists(staged / "a.txt")) std::this_thread::yield();
    writeFile(staged / ".korvane-0123456789abcdef", "half of a copy");
    sharing.signal(signal);
    EXPECT_EQ(errors.readLine(),
              "korvane-share: not handed over: it was interrupted before the mail client answered");
    EXPECT_EQ(sharing.wait(), -signal);
    EXPECT_FALSE(fs::exists(staged / ".korvane-0123456789abcdef"));
    EXPECT_TRUE(fs::exists(staged / "a.txt"));
    fs::remove(staged / "a.txt");
  }
}

// A picture that cannot be decoded takes nothing with it: no other picture, no file.
TEST_F(Share, BadPicturesAreTheirOwnLossAlone) {
  const std::string bomb = KORVANE_TEST_DATA "/images/bomb.png";
  const std::string broken = file("broken.jpg", "\xFF\xD8\xFF\xE0 no more of it");
  const std::string good = picture("good.png");
  const std::string contract = file("contract.pdf", "four");
  const Finished finished = share({"--dry-run", "--image", bomb, "--image", good, "--image", broken,
                                   contract, "--image", good});
  EXPECT_EQ(finished.status, 0);
  EXPECT_THAT(attachments(finished.output),
              ::testing::UnorderedElementsAre("image.png", "image_1.png", "contract.pdf"));
  EXPECT_EQ(finished.errors,
            "korvane-share: " + bomb +
                " is not in the message: the picture has more than 108 megapixels, or more than "
                "81 with transparency\nkorvane-share: " +
                broken + " is not in the message: the picture is incomplete\n");
}

TEST_F(Share, ATitleAloneIsNotHandedOver) {
  const Finished finished = share({"--dry-run", "--title", "T"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.errors,
            "korvane-share: nothing of what was given could be put into the message: the title "
            "\"T\": it is shared with a link only\n");
}

TEST_F(Share, NothingStagedIsNotHandedOver) {
  installClient();
  desktop.startBus();
  const Finished finished = share({"none.txt"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_THAT(finished.errors, MatchesRegex("korvane-share: nothing of what was given [^\n]+\n"));
  // The mail client opens all the same.
  EXPECT_THAT(urlsOf(readFile(received(kRegular))), SizeIs(1));
  EXPECT_EQ(share({}).status, 0);  // nothing was given, nothing is lost
}

TEST_F(Share, WhyNothingWasHandedOverIsOneLine) {
  const std::string nothing =
      "korvane-share: nothing of what was given could be put into the message";
  EXPECT_EQ(share({"--dry-run", "--html", "/none.html"}).errors,
            nothing + ": /none.html: No such file or directory\n");
  EXPECT_EQ(share({"--dry-run", "--html", "/none.html", "--html", "/other.html"}).errors,
            nothing +
                ": /none.html: No such file or directory; /other.html: No such file or "
                "directory\n");
  EXPECT_EQ(share({"--dry-run", "--html", "/none.html", "/none.txt"}).errors,
            nothing +
                ": /none.txt: No such file or directory; /none.html: No such file or "
                "directory\n");
  EXPECT_EQ(desktop.run({"sh", "-c", "'" + kShare + "' --dry-run - < /"}).errors,
            nothing + ": standard input: Is a directory\n");
  // Another reason stands alone.
  EXPECT_EQ(share({"--html", "/none.html", "https://a.example/"}).errors,
            "korvane-share: not handed over: no application it.drelk.korvane is installed\n");
}

TEST_F(Share, LogLinesAreShownWhereAsked) {
  const std::string lines = share({"--dry-run", "-v", "/none.txt"}).errors;
  EXPECT_THAT(lines, HasSubstr("[***ERROR***] shareInit delete Error Domain="));
  EXPECT_THAT(lines, HasSubstr("[***ERROR***] shareInit create Error Domain="));
  EXPECT_THAT(lines, HasSubstr("[***ERROR***] Error writing file shareFiles Error Domain="));
  EXPECT_THAT(share({"--dry-run", "/none.txt"}).errors, Not(HasSubstr("***ERROR***")));
  const std::string second = share({"--dry-run", "-v", "--image=/none"}).errors;
  EXPECT_THAT(second, Not(HasSubstr("shareInit")));  // the folder is there now
  EXPECT_THAT(second, HasSubstr("[***ERROR***] GetItemForExtension kUTTypeImage Error Domain="));
}

TEST_F(Share, NamesOfEveryKind) {
  const std::string longName = std::string(251, 'n') + ".txt";
  std::vector<std::string> arguments{"--dry-run", "--"};
  for (const std::string& name :
       std::vector<std::string>{longName, "-v", "--title", "a:b", "\xE4\xFF.txt",
                                "a,b;c=d%20&#?.txt", "new\nline", "ä ö.txt"}) {
    file(name, name);
    arguments.push_back(name);
  }
  fs::create_directories(things / "folder/sub");
  file("folder/sub/x", "x");
  fs::create_symlink("folder/sub/x", things / "link");
  arguments.insert(arguments.end(), {"folder/", "link"});
  std::string command = "cd '" + things.string() + "' && exec \"$0\" \"$@\"";
  arguments.insert(arguments.begin(), {"sh", "-c", command, kShare});
  const Finished finished = desktop.run(arguments);
  EXPECT_EQ(finished.status, 0) << finished.errors;
  EXPECT_EQ(finished.errors, "");
  const std::vector<std::string> names = attachments(finished.output);
  ASSERT_THAT(names, SizeIs(10));  // in the order given
  EXPECT_EQ(names[0], longName);
  EXPECT_EQ(names[1], "-v");
  EXPECT_EQ(names[2], "--title");
  EXPECT_EQ(names[3], "a:b");
  EXPECT_THAT(names[4], ::testing::EndsWith(".txt"));
  EXPECT_EQ(names[5], "a,b;c=d%20&#?.txt");
  EXPECT_EQ(names[6], "new\nline");
  EXPECT_EQ(names[7], "ä ö.txt");
  EXPECT_EQ(names[8], "folder");
  EXPECT_EQ(names[9], "link");
  const fs::path staged = desktop.folder / "data/Q7K4M2XW9P.korvane/SharedData/Share";
  EXPECT_EQ(readFile(staged / "folder/sub/x"), "x");
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(staged / "link")));
}

TEST_F(Share, FileURLsAreFiles) {
  file("a b.txt", "x");
  file("c#d.txt", "x");
  const std::string base = things.string();
  const Finished finished =
      share({"--dry-run", "file://" + base + "/a%20b.txt", "file://localhost" + base + "/a b.txt",
             "file://" + base + "/c#d.txt"});
  EXPECT_EQ(finished.status, 0);
  EXPECT_THAT(attachments(finished.output), ElementsAre("a b.txt", "a b_1.txt", "c#d.txt"));
}

TEST_F(Share, WithoutFileServicesARemoteFileIsToldAndIsNotALink) {
  const Finished finished =
      share({"--dry-run", "sftp://a.example/x y", "ftp://a.example/z", "https://a.example/"});
  EXPECT_EQ(finished.status, 0) << finished.errors;
  EXPECT_THAT(body(finished.output),
              AllOf(HasSubstr("<a href=\"ftp://a.example/z\">"),
                    HasSubstr("<a href=\"https://a.example/\">"), Not(HasSubstr("sftp"))));
  EXPECT_THAT(finished.errors, HasSubstr("sftp://a.example/x y is not in the message: "));
  const Finished nothing = share({"--dry-run", "trash:///x"});
  EXPECT_EQ(nothing.status, 1);
  EXPECT_THAT(nothing.errors, HasSubstr("trash:///x: nothing here can read files of \"trash:\""));
}

TEST_F(Share, StandardInputIsToldByItsContent) {
  const std::string photo = picture("photo.png");
  EXPECT_THAT(attachments(shareInput(photo, "-").output), ElementsAre("image.png"));
  EXPECT_THAT(attachments(shareInput(photo, "--image -").output), ElementsAre("image.png"));
  EXPECT_THAT(
      body(shareInput(file("p", "<p onclick='x'>a <b>b</b><script>c</script></p>"), "-").output),
      AllOf(HasSubstr("<b>b</b>"), Not(HasSubstr("onclick")), Not(HasSubstr("script"))));
  EXPECT_THAT(body(shareInput(file("t", "1 < 2\n3"), "-").output), HasSubstr("1 &lt; 2<br>"));
  EXPECT_THAT(body(shareInput(file("t", "1 < 2\n3"), "--text 0 -").output),
              ::testing::ContainsRegex("0<br>\n1 &lt; 2<br>"));
  const Finished unknown = shareInput(file("u", std::string_view("\x7F"
                                                                 "ELF\0",
                                                                 5)),
                                      "-");
  EXPECT_EQ(unknown.status, 1);
  EXPECT_THAT(unknown.errors, HasSubstr("standard input: neither image, HTML nor text"));
  const Finished huge =
      desktop.run({"sh", "-c", "'" + kShare + "' --dry-run - https://a.example/ < /dev/zero"});
  EXPECT_EQ(huge.status, 0);
  EXPECT_THAT(huge.errors, HasSubstr("standard input is not in the message: larger than 256 MiB"));
}

TEST_F(Share, ARequestHoldsSeveralItems) {
  const std::string path = file("a.txt", "a");
  const std::string request =
      file("request.json", R"({"items": [
    {"title": "first", "text": "one", "attachments": [{"url": "https://a.example/1"}]},
    {"html": "<i>two</i>", "attachments": [{"file": ")" +
                               path + R"("}, {"image": ")" + picture("p.png") + R"("}]},
    {"title": "last", "attachments": [{"type": "public.url", "text": "https://a.example/3"}]}]})");
  for (const Finished& finished :
       {share({"--dry-run", "--request", request}), shareInput(request, "--request=-")}) {
    EXPECT_EQ(finished.status, 0) << finished.errors;
    const std::string html = body(finished.output);
    std::size_t at = 0;
    for (const char* part : {"one", "https://a.example/1", "<i>two</i>", "https://a.example/3"}) {
      at = html.find(part, at);
      ASSERT_NE(at, std::string::npos) << part;
    }
    EXPECT_EQ(message(finished.output)->subject(), Value("last"));
    EXPECT_THAT(attachments(finished.output),
                ::testing::UnorderedElementsAre("a.txt", "image.png"));
  }
}

TEST_F(Share, TenThousandItems) {
  std::string items;
  for (int i = 0; i < 10'000; ++i) {
    items += std::string(i ? ",\n" : "") + R"({"attachments": [{"url": "https://a.example/)" +
             std::to_string(i) + "\"}]}";
  }
  const Finished finished =
      share({"--dry-run", "--request", file("request.json", "{\"items\": [" + items + "]}")});
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.errors, "");
  const std::string html = body(finished.output);
  std::size_t links = 0;
  for (std::size_t at = 0; (at = html.find("<a href=", at)) != std::string::npos; ++at) ++links;
  EXPECT_EQ(links, 10'000U);
  EXPECT_THAT(html, ::testing::EndsWith("https://a.example/9999</a>"));
}

TEST_F(Share, AnUnsupportedTypeWaitsTheBudgetOfTheRealClock) {
  const std::string request = file(
      "request.json",
      R"({"items": [{"attachments": [{"url": "a:b"}, {"type": "public.plain-text", "text": "x"}]}]})");
  const auto start = std::chrono::steady_clock::now();
  const Finished finished = share({"--dry-run", "--request", request});
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took.count(), 10.1);
  EXPECT_EQ(finished.status, 0);
  EXPECT_THAT(finished.errors,
              StartsWith("korvane-share: an attachment of the type public.plain-text is not in the "
                         "message: only links, files and pictures are taken\n"));
}

TEST_F(Share, OfSharesAtOnceEachAttachesItsOwnFiles) {
  // The receiver looks at what is attached before it answers.
  desktop.addService(kRegular, kReceiver + " --output " + received(kRegular));
  desktop.startBus();
  constexpr int kShares = 4;
  constexpr int kFiles = 40;
  std::vector<std::thread> shares;
  for (int size = 1; size <= kShares; ++size) {
    std::vector<std::string> arguments{kShare};
    for (int i = 0; i < kFiles; ++i) {
      const std::string name = std::to_string(size) + "/" + std::to_string(i);
      arguments.push_back(file(name, std::string(static_cast<std::size_t>(size) + 10, 'x')));
    }
    shares.emplace_back([this, arguments] { EXPECT_EQ(desktop.run(arguments).status, 0); });
  }
  for (std::thread& share : shares) share.join();

  const std::string all = readFile(received(kRegular));
  std::multiset<std::string> sizes;
  for (std::size_t at = 0; (at = all.find(" (", at)) != std::string::npos; ++at) {
    const std::string said = all.substr(at + 2, all.find(')', at) - at - 2);
    if (said.ends_with("bytes") || said == "missing") sizes.insert(said);
  }
  EXPECT_EQ(sizes.count("missing"), 0U);
  for (int size = 1; size <= kShares; ++size) {
    EXPECT_EQ(sizes.count(std::to_string(size + 10) + " bytes"), std::size_t{kFiles}) << size;
  }
}

TEST_F(Share, ALoadThatOutlastsTheBudgetDoesNotKeepTheHost) {
  // Somebody else works in the container from the moment the staging folder was emptied; the files
  // cannot be staged, and the host ends all the same.
  std::vector<std::string> arguments{kShare, "--dry-run", "https://a.example/"};
  for (int i = 0; i < 3000; ++i) arguments.push_back(file(std::to_string(i), "x"));
  const fs::path container = desktop.folder / "data/Q7K4M2XW9P.korvane";
  Finished finished;
  std::thread sharing([&] { finished = desktop.run(arguments); });
  while (!fs::exists(container / "SharedData/Share")) std::this_thread::yield();
  FileCoordinator coordinator{ContainerRoot(container.string())};
  std::optional<NSError> error;
  coordinator.coordinateWritingItemAtURL(NSURL::fileURLWithPath(container.string()),
                                         NSFileCoordinatorWritingOptions::forDeleting, error,
                                         [&](const NSURL&) { sharing.join(); });
  EXPECT_EQ(error, std::nullopt);
  EXPECT_EQ(finished.status, 0) << finished.errors;
  EXPECT_THAT(finished.errors,
              AllOf(HasSubstr(" is not in the message: it was not ready within ten seconds\n"),
                    EndsWith(" more are not in the message\n")));
  // The next share finds no lock left behind.
  EXPECT_EQ(share({"--dry-run", file("f", "x")}).status, 0);
}

}  // namespace
}  // namespace korvane
