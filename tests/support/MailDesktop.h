#pragma once

// A desktop of a test's own with mail programs on it that write down how they were started.

#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "model/ExtensionMessage.h"
#include "support/JsonLines.h"
#include "support/PrivateDesktop.h"
#include "urlutils/RequestUtils.h"

namespace korvane::testing {

class MailDesktop : public PrivateDesktop {
 public:
  MailDesktop() {
    std::filesystem::create_directories(folder / "bin");
    std::filesystem::create_directories(staging());
    set("PATH", (folder / "bin").string() + ":/usr/bin:/bin");
    set("XDG_CACHE_HOME", folder / "cache");
    set("XDG_CONFIG_HOME", folder / "config");
    set("XDG_CONFIG_DIRS", folder / "etc");
    set("LC_ALL", "C.UTF-8");
    if (::mkfifo(fifo().c_str(), 0600) != 0) throw std::runtime_error("mkfifo");
  }

  std::filesystem::path staging() const {
    return folder / "data/Q7K4M2XW9P.korvane/SharedData/Share";
  }
  std::string stage(const std::string& name, std::string_view content = "x") const {
    std::filesystem::create_directories((staging() / name).parent_path());
    writeFile(staging() / name, content);
    return staging() / name;
  }

  /// Installs a mail program of the name; `exec` stands for its Exec line.
  void addMailProgram(const std::string& id, const std::string& program, const std::string& exec,
                      const std::string& more = "") {
    const auto script = folder / "bin" / program;
    writeFile(script, "#!/bin/sh\nexec >'" + fifo() +
                          "'\nfor a in \"$@\"; do printf '%s\\0' \"$a\"; done\n"
                          "printf 'token=%s\\0' \"$XDG_ACTIVATION_TOKEN\"\n");
    std::filesystem::permissions(script, std::filesystem::perms::owner_all);
    addEntry(id, exec, "MimeType=x-scheme-handler/mailto;\n" + more);
    cache_ += id + ".desktop;";
    writeFile(folder / "data/applications/mimeinfo.cache",
              "[MIME Cache]\nx-scheme-handler/mailto=" + cache_ + "\n");
  }

  /// Waits for the next start of a mail program; gives its arguments and "token=…".
  std::vector<std::string> started() const {
    const std::string text = readFile(fifo());
    std::vector<std::string> words;
    for (std::size_t begin = 0; begin < text.size();) {
      const std::size_t end = text.find('\0', begin);
      words.push_back(text.substr(begin, end - begin));
      begin = end == text.npos ? text.size() : end + 1;
    }
    return words;
  }

 private:
  std::string fifo() const { return folder / "started"; }

  std::string cache_;
};

/// A command URL of keys and values.
inline std::string commandURL(const std::vector<std::pair<std::string, std::string>>& values,
                              const std::string& command = "compose") {
  std::string url = "korvane://" + command + "?";
  for (const auto& [key, value] : values) {
    if (!url.ends_with('?')) url += '&';
    url += RequestUtils::URLEncodedString(key) + "=" + RequestUtils::URLEncodedString(value);
  }
  return url;
}

}  // namespace korvane::testing
