// The entry in KDE's Share menu: the protocol, spoken on a socket, and the framework itself where
// it is installed.
#include "host/PurposeMain.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "formats/cbor/CBOR.h"
#include "support/Places.h"
#include "tests/support/CBORWriter.h"
#include "tests/support/PrivateDesktop.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::StartsWith;

constexpr const char* kPackage =
    KORVANE_BINARY_DIR "/share/kpackage/Purpose/it.drelk.korvane.share";
constexpr const char* kMenu = KORVANE_BINARY_DIR "/tests/purpose_menu";
constexpr int kPatience = 120'000;  // milliseconds, for a busy machine

class Purpose : public ::testing::Test {
 protected:
  Purpose() {
    desktop.set("LC_ALL", "C.UTF-8");
    fs::create_directory(files);
  }

  void startMailClient() {
    desktop.addService("it.drelk.korvane",
                       KORVANE_BINARY_DIR "/bin/korvane-receiver --json --output " + received);
    desktop.startBus();
  }

  /// The file: URL of a new file, but for the part that is its name.
  std::string add(const std::string& name, const std::string& content) const {
    testing::writeFile(files / name, content);
    return "file://" + files.string() + "/";
  }

  /// Gives a message to the entry as the menu does; gives the lines that come back.
  std::vector<std::string> answersTo(const std::string& bytes) {
    const std::string path = desktop.folder / "socket";
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(::listen(listener, 1), 0);
    const std::string code = std::string(kPackage) + "/contents/code/main.sh";
    testing::RunningProgram program(
        {code, "--server", path, "--pluginType", "Export", "--pluginPath", code},
        desktop.environment, -1, -1);
    pollfd wanted{listener, POLLIN, 0};
    std::string said;
    if (::poll(&wanted, 1, kPatience) == 1) {
      const int socket = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
      EXPECT_EQ(::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                static_cast<ssize_t>(bytes.size()));
      ::shutdown(socket, SHUT_WR);
      for (char byte = 0; ::read(socket, &byte, 1) == 1;) said += byte;
      ::close(socket);
    }
    ::close(listener);
    ::unlink(path.c_str());
    EXPECT_EQ(program.wait(), 0);
    std::vector<std::string> lines;
    std::istringstream stream(said);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
  }

  static std::string framed(const CBORItem::Map& map) {
    const std::string cbor = testing::CBORWriter::write({map});
    return std::to_string(cbor.size()) + "\n" + cbor;
  }
  static std::string framed(const std::vector<std::string>& urls, const char* title = nullptr) {
    CBORItem::Array texts;
    for (const std::string& url : urls) texts.push_back({url});
    CBORItem::Map map{{{std::string("mimeType")}, {std::string("*/*")}},
                      {{std::string("urls")}, {texts}}};
    if (title) map.push_back({{std::string("title")}, {std::string(title)}});
    return framed(map);
  }

  /// Names and contents of what is staged; "/" for a folder.
  std::map<std::string, std::string> staged() const {
    std::map<std::string, std::string> found;
    const fs::path staging = desktop.folder / "data/Q7K4M2XW9P.korvane/SharedData/Share";
    for (const auto& entry : fs::directory_iterator(staging)) {
      found[entry.path().filename()] = entry.is_directory() ? "/" : testing::readFile(entry.path());
    }
    return found;
  }

  testing::PrivateDesktop desktop;
  const fs::path files = desktop.folder / "files";
  const std::string received = desktop.folder / "received";
};

/// Without the steps between the beginning and the end, of which a busy machine shows others.
std::vector<std::string> withoutSteps(const std::vector<std::string>& lines) {
  std::vector<std::string> found;
  for (const std::string& line : lines) {
    const bool isStep = line.starts_with("{\"percent\":") && line != "{\"percent\":0}" &&
                        line != "{\"percent\":100}";
    if (!isStep && (found.empty() || line != found.back())) found.push_back(line);
  }
  return found;
}

const std::vector<std::string> kDone{"{\"percent\":0}", "{\"percent\":100}",
                                     "{\"output\":{\"url\":\"\"}}"};

TEST_F(Purpose, FilesInTheMenusSpellings) {
  startMailClient();
  fs::create_directory(files / "a folder");
  const std::string url = add("-dash %U.txt", "1");
  add("a, b \"q\" 100%.txt", "2");
  add("it's $HOME & #1.txt", "3");
  add("caf\xe9.txt", "4");
  add("back\\slash.txt", "5");
  add("new\nline.txt", "6");
  add("gr\u00fc\u00df.txt", "7");
  add("old\xe9.txt", "8");
  const auto lines = withoutSteps(answersTo(
      framed({url + "a folder", url + "-dash %25U.txt", url + "a, b %22q%22 100%25.txt",
              url + "it's $HOME & %231.txt", url + "caf%E9.txt", url + "back%5Cslash.txt",
              url + "new%0Aline.txt", url + "gr\u00fc\u00df.txt", url + "old\uFFFD.txt"})));
  EXPECT_EQ(lines, kDone);
  EXPECT_THAT(staged(), ElementsAre(Pair("-dash %U.txt", "1"), Pair("a folder", "/"),
                                    Pair("a, b \"q\" 100%.txt", "2"), Pair("back\\slash.txt", "5"),
                                    Pair("caf\u00e9.txt", "4"), Pair("gr\u00fc\u00df.txt", "7"),
                                    Pair("it's $HOME & #1.txt", "3"), Pair("new\nline.txt", "6"),
                                    Pair("old\u00e9.txt", "8")));
  EXPECT_THAT(testing::readFile(received), HasSubstr("attachment_8="));
}

TEST_F(Purpose, ALinkAndAPicture) {
  startMailClient();
  const std::string picture =  // one red pixel
      "data:image/png;base64,iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAIAAACQd1PeAAAADElEQVR4nGP4z8AAAAMB"
      "AQDJ/pLvAAAAAElFTkSuQmCC";
  EXPECT_EQ(withoutSteps(answersTo(framed({"https://example.org/", picture}, "Tea"))), kDone);
  EXPECT_THAT(testing::readFile(received), HasSubstr("subject=Tea"));
  EXPECT_THAT(staged(), ElementsAre(Pair("image.png", HasSubstr("PNG"))));
}

TEST_F(Purpose, WhatIsMissingIsTold) {
  startMailClient();
  const std::string url = add("a", "1");
  const auto lines = answersTo(framed({url + "a", url + "none"}));
  ASSERT_GE(lines.size(), 2U);
  const auto failure = nlohmann::json::parse(lines.back());
  EXPECT_GE(failure["error"].get<int>(), 100);
  EXPECT_EQ(failure["errorText"],
            (files / "none").string() + " is not in the message: No such file or directory");
  EXPECT_THAT(staged(), ElementsAre(Pair("a", "1")));
}

TEST_F(Purpose, WhyNothingWasOpened) {
  const auto lines = answersTo(framed({add("a", "1") + "a"}));
  ASSERT_GE(lines.size(), 2U);
  EXPECT_EQ(nlohmann::json::parse(lines.back())["errorText"],
            "no application it.drelk.korvane is installed");
}

TEST_F(Purpose, WhatCannotBeReadIsRefused) {
  for (const char* bytes : {"", "12", "3\n\xA0", "1\n\x80", "1\n\xA0", "nonsense\n"}) {
    const auto lines = answersTo(bytes);
    ASSERT_EQ(lines.size(), 1U) << bytes;
    EXPECT_THAT(std::string(nlohmann::json::parse(lines[0])["errorText"]),
                HasSubstr("the Share menu's message"));
  }
}

TEST_F(Purpose, WithoutASocketItIsWrongUsage) {
  const std::string program = KORVANE_BINARY_DIR "/libexec/korvane/korvane-purpose";
  EXPECT_EQ(desktop.run({program}).status, 2);
  const testing::Finished finished = desktop.run({program, "--server", "/nonexistent/socket"});
  EXPECT_EQ(finished.status, 2);
  EXPECT_THAT(finished.errors, HasSubstr("the Share menu cannot be reached"));
}

TEST_F(Purpose, TheEntryIsTranslated) {
  const auto about =
      nlohmann::json::parse(testing::readFile(fs::path(kPackage) / "metadata.json"))["KPlugin"];
  EXPECT_EQ(about["Name"], "Send by Mail");
  EXPECT_EQ(about["Name[de]"], "Per E-Mail senden");
  for (const char* language : {"de", "es", "fr", "it"}) {
    for (const char* text : {"Name", "Description"}) {
      const std::string key = std::string(text) + "[" + language + "]";
      EXPECT_TRUE(about.contains(key)) << key;
    }
  }
}

/// The framework itself.
class PurposeMenu : public Purpose {
 protected:
  PurposeMenu() {
    desktop.set("QT_QPA_PLATFORM", "offscreen");
    desktop.set("XDG_DATA_DIRS", KORVANE_BINARY_DIR "/share:/usr/share");
  }
  void SetUp() override {
    if (!fs::exists(kMenu)) GTEST_SKIP() << "libkf5purpose-dev is not installed";
  }
  std::string share(const char* type, const nlohmann::json& input) const {
    const testing::Finished finished = desktop.run({kMenu, type, input.dump()});
    EXPECT_EQ(finished.status, 0) << finished.errors;
    return finished.output;
  }
};

TEST_F(PurposeMenu, SharesFiles) {
  startMailClient();
  add("a, b \"q\" 100%.txt", "1");
  add("-dash %U #1.txt", "2");
  const std::string url = "file://" + files.string() + "/";
  const std::string told = share(
      "Export",
      {{"mimeType", "*/*"}, {"urls", {url + "a, b \"q\" 100%.txt", url + "-dash %25U %231.txt"}}});
  EXPECT_THAT(told, StartsWith("entry Send by Mail\nready 1\n"));
  EXPECT_THAT(told, EndsWith("percent 100\nerror 0 \n"));
  EXPECT_THAT(staged(),
              ElementsAre(Pair("-dash %U #1.txt", "2"), Pair("a, b \"q\" 100%.txt", "1")));
}

TEST_F(PurposeMenu, SharesALink) {
  startMailClient();
  EXPECT_THAT(share("ShareUrl", {{"title", "Tea"}, {"urls", {"https://example.org/"}}}),
              HasSubstr("error 0 \n"));
  EXPECT_THAT(testing::readFile(received), HasSubstr("subject=Tea"));
}

TEST_F(PurposeMenu, ShowsWhyNothingWasSent) {
  EXPECT_THAT(share("Export", {{"mimeType", "*/*"}, {"urls", {"https://example.org/"}}}),
              HasSubstr("error 100 no application it.drelk.korvane is installed\n"));
}

}  // namespace
}  // namespace korvane
