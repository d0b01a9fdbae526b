// What a mail client does with the command URL it was opened with: see docs/command-url.md.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "linux/LinuxPlatform.h"
#include "model/ExtensionMessage.h"

using namespace korvane;

namespace fs = std::filesystem;

// The addresses of "ann@a.example;bob@b.example;".
std::vector<std::string> addresses(std::string_view text) {
  std::vector<std::string> found;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(';'), text.size());
    if (end > 0) found.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return found;
}

// Whether a path leads to a file inside the folder, links resolved.
bool isStaged(const std::string& path, const fs::path& staging) {
  if (path.find('\0') != std::string::npos || !path.starts_with('/')) return false;
  std::error_code error;
  const fs::path file = fs::canonical(path, error);
  if (error || !fs::is_regular_file(file, error)) return false;
  const fs::path folder = fs::canonical(staging, error);
  return !error && file.parent_path() == folder;
}

int main() {
  Platform::install(linuxPlatform());

  // The staging folder of this example, with one file in it.
  const fs::path staging = fs::temp_directory_path() / "korvane-example-staging";
  fs::create_directories(staging);
  std::ofstream(staging / "menu.txt") << "Tea\n";

  const std::string received =
      "korvane://compose?plainBody=At%20five.%0ABring%20nothing.&subject=Tea%20%26%20biscuits&"
      "to=ann%40a.example%3Bbob%40b.example%3B&attachment_0=" +
      (staging / "menu.txt").string() + "&attachment_1=%2Fetc%2Fpasswd";

  const std::optional<NSURL> url = NSURL::URLWithString(received);
  if (!url || url->scheme() != "korvane" || url->host() != "compose") return 1;
  const auto message = ExtensionMessage::ExtensionMessageWithUrl(*url);

  const std::string subject = message->subject().isAbsent() ? "" : message->subject().description();
  const std::vector<std::string> to = addresses(message->toString().value_or(""));
  std::vector<std::string> files;
  const List attachments = message->attachments().value_or(List());
  for (const Value& path : attachments) {
    if (isStaged(path.description(), staging)) files.push_back(path.description());
  }

  std::printf("%s, to %zu, with %zu of %zu files\n", subject.c_str(), to.size(), files.size(),
              attachments.size());
  const bool asExpected = subject == "Tea & biscuits" && to.size() == 2 &&
                          to[1] == "bob@b.example" && attachments.size() == 2 &&
                          files.size() == 1 && message->plainBody() == "At five.\nBring nothing.";
  fs::remove_all(staging);
  return asExpected ? 0 : 1;
}
