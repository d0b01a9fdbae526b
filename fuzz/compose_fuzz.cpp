// A command URL of any bytes makes a command line and a message file that attach the files of the
// draft and no others, with no argument that the message added.

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "compose/ClientCommand.h"
#include "compose/Composition.h"
#include "compose/MailText.h"
#include "compose/MailtoURL.h"
#include "fuzz/Require.h"
#include "linux/LinuxPlatform.h"
#include "platform/NSString.h"
#include "platform/Platform.h"

namespace {

namespace fs = std::filesystem;
using namespace korvane;

/// Folders of the process's own, with one file that a share staged and one that it did not.
struct Home {
  Home() {
    std::string name = fs::temp_directory_path() / "korvane-fuzz-XXXXXX";
    REQUIRE(::mkdtemp(name.data()) != nullptr);
    path = name;
    ::setenv("HOME", path.c_str(), 1);
    ::setenv("XDG_DATA_HOME", path.c_str(), 1);
    ::setenv("XDG_CACHE_HOME", (path / "cache").c_str(), 1);
    Platform::install(linuxPlatform());
    const fs::path staging = path / "Q7K4M2XW9P.korvane/SharedData/Share";
    fs::create_directories(staging);
    staged = staging / "staged";
    std::ofstream(staged) << "staged";
    std::ofstream(path / "outside") << "OUTSIDE-OF-THE-SHARE";
  }
  ~Home() { fs::remove_all(path); }

  fs::path path;
  fs::path staged;
};

InstalledClient client(MailRoad road) {
  InstalledClient made;
  made.id = made.name = "client";
  made.road = road;
  made.exec = {"client", "%u"};
  made.program = {"client"};
  return made;
}

std::string contentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::size_t count(std::string_view text, std::string_view word) {
  std::size_t found = 0;
  for (auto at = text.find(word); at != text.npos; at = text.find(word, at + 1)) ++found;
  return found;
}

bool isWithin(const std::string& file, const fs::path& folder) {
  return file.starts_with((folder / "cache/korvane-compose/message-").string()) &&
         fs::path(file).parent_path().filename() == "attachments" && contentOf(file) == "staged";
}

/// How many files of ours the attach= values of a mailto: URL name; there may be no others.
std::size_t requireMailto(const std::string& url, const fs::path& home) {
  REQUIRE(url.starts_with("mailto:") && url.size() <= kMaxArgument);
  REQUIRE(count(url, "?") <= 1);
  std::size_t attached = 0;
  for (std::size_t at = url.find('?'); at != url.npos; at = url.find('&', at + 1)) {
    const std::string_view piece =
        std::string_view(url).substr(at + 1, url.find('&', at + 1) - at - 1);
    const std::string_view key = piece.substr(0, piece.find('='));
    REQUIRE(key == "cc" || key == "bcc" || key == "subject" || key == "body" || key == "attach");
    REQUIRE(count(piece, "=") == 1);
    if (key != "attach") continue;
    const auto uri = stringByReplacingPercentEscapes(piece.substr(7));
    REQUIRE(uri && uri->starts_with("file:///"));
    REQUIRE(isWithin(*bytesByReplacingPercentEscapes(uri->substr(7)), home));
    ++attached;
  }
  return attached;
}

/// Everything before the first empty line, without folding.
void requireMessage(const std::string& text, std::size_t attachments) {
  REQUIRE(count(text, "OUTSIDE-OF-THE-SHARE") == 0);
  const std::string_view headers(text.data(), text.find("\r\n\r\n"));
  for (std::size_t at = 0; at < headers.size();) {
    const std::size_t end = std::min(headers.find("\r\n", at), headers.size());
    const std::string_view line = headers.substr(at, end - at);
    const bool known = std::ranges::any_of(
        std::vector<std::string_view>{"Date: ", "Subject: ", "To: ", "Cc: ", "Bcc: ", "X-Unsent: 1",
                                      "MIME-Version: 1.0", "Content-Type: multipart/", " ", "\t"},
        [&](std::string_view begin) { return line.starts_with(begin); });
    REQUIRE(known && line.size() <= 998);
    at = end + 2;
  }
  REQUIRE(count(text, "\r\nContent-Disposition: attachment") == attachments);
}

void compose(const NSURL& url, const fs::path& home) {
  for (const MailRoad road : {MailRoad::unsentFile, MailRoad::mailtoAttached, MailRoad::kmail,
                              MailRoad::clawsMail, MailRoad::sylpheed, MailRoad::mailto}) {
    try {
      Composition composition(client(road), url);
      const ClientCommand& command = composition.prepare();
      const auto& words = command.arguments;
      REQUIRE(words.size() >= 2 && words[0] == "client");
      for (const std::string& word : words) {
        REQUIRE(word.find('\0') == word.npos && isUTF8(word));
        // Each option is one that was chosen here.
        const bool isOption = word.starts_with('-');
        const std::string name = word.substr(0, word.find('='));
        REQUIRE(!isOption || name == "--composer" || name == "--subject" || name == "--cc" ||
                name == "--bcc" || name == "--msg" || name == "--attach" || name == "--compose" ||
                name == "--compose-from-file");
      }
      const auto attach = std::ranges::find(words, "--attach");
      switch (road) {
        case MailRoad::unsentFile: {
          REQUIRE(words.size() == 2 && words[1] == fileURI(*command.message));
          const std::string text = contentOf(*command.message);
          requireMessage(text, count(text, "\r\n\r\nc3RhZ2Vk\r\n"));
          break;
        }
        case MailRoad::mailto:
        case MailRoad::mailtoAttached:
          REQUIRE(words.size() == 2);
          REQUIRE(requireMailto(words[1], home) == 0 || road == MailRoad::mailtoAttached);
          break;
        case MailRoad::sylpheed:
          REQUIRE(words[1] == "--compose" && requireMailto(words[2], home) == 0);
          REQUIRE(attach - words.begin() == 3 || words.size() == 3);
          [[fallthrough]];
        case MailRoad::clawsMail:
          if (attach == words.end()) break;
          for (auto file = attach + 1; file != words.end(); ++file) REQUIRE(isWithin(*file, home));
          break;
        default:
          for (std::size_t at = 1; at < words.size(); ++at) {
            if (words[at] == "--msg") {
              ++at;
            } else if (words[at] == "--attach") {
              REQUIRE(isWithin(words[++at], home));
            } else if (!words[at].starts_with("--")) {
              // A recipient, which reads as no URL with a scheme.
              REQUIRE(words[at].find('@') != std::string::npos);
              REQUIRE(words[at].find(':') > words[at].find_first_of("\"<@["));
            }
          }
      }
    } catch (const ComposeError& error) {
      REQUIRE(error.kind() == ComposeError::Kind::notCompose);
      REQUIRE(std::string_view(error.what()).find('\n') == std::string_view::npos);
    }
    fs::remove_all(home / "cache/korvane-compose");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Home home;
  // STAGED and OUTSIDE stand for paths that the fuzzer cannot know.
  std::string text(reinterpret_cast<const char*>(data), size);
  for (const auto& [word, path] :
       {std::pair{std::string("STAGED"), home.staged}, {"OUTSIDE", home.path / "outside"}}) {
    for (auto at = text.find(word); at != text.npos;
         at = text.find(word, at + path.string().size())) {
      text.replace(at, word.size(), path.string());
    }
  }
  for (const std::string& candidate : {text, "korvane://compose?" + text}) {
    if (const auto url = NSURL::URLWithString(candidate)) compose(*url, home.path);
  }
  return 0;
}
