#pragma once

// Shares of the real program, one after the other or at once, with something going wrong in each,
// and the count of what came of them. A run survives where everything that was given is in the
// message that the mail client got, unchanged, or is named where the person looks; where the
// sources are as they were; and where the next share works.

#include <poll.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "endurance/Content.h"
#include "linux/detail/Images.h"
#include "linux/detail/UnfinishedNames.h"
#include "support/Pictures.h"
#include "support/Places.h"
#include "support/PrivateDesktop.h"

namespace korvane::testing {

/// What one kind of run comes to.
struct Tally {
  std::string name;
  std::size_t runs = 0;
  std::size_t faults = 0;
  std::size_t survived = 0;
  std::size_t lost = 0;

  void print() const {
    std::printf("%-32s %8zu %8zu %8zu %8zu\n", name.c_str(), runs, faults, survived, lost);
    std::fflush(stdout);
  }
  static void printHead() {
    std::printf("%-32s %8s %8s %8s %8s\n", "", "runs", "faults", "survived", "lost");
  }
};

/// Until when a program goes on: the seconds that it was given, 20 without any.
class Deadline {
 public:
  Deadline(int argc, char** argv) : Deadline(argc > 1 ? std::atof(argv[1]) : 20) {}
  explicit Deadline(double seconds)
      : end_(std::chrono::steady_clock::now() +
             std::chrono::milliseconds(static_cast<long>(seconds * 1000))) {}
  bool isOver() const { return std::chrono::steady_clock::now() >= end_; }

 private:
  std::chrono::steady_clock::time_point end_;
};

/// What is shared in one run, under names and with contents of its own.
struct Things {
  std::string subject;
  std::vector<std::string> arguments;
  std::filesystem::path folder;
  std::string sources;          // as they were
  std::set<std::string> words;  // what the client should find
};

class Endurance {
 public:
  /// `delay`: how long the client waits before it reads, in milliseconds.
  explicit Endurance(int delay = 0) {
    fifo_ = desktop.folder / "found";
    if (::mkfifo(fifo_.c_str(), 0600) != 0) throw std::runtime_error("no FIFO");
    found_ = ::open(fifo_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    desktop.set("XDG_DATA_DIRS", (desktop.folder / "system").string() + ":/usr/share");
    desktop.set("LC_ALL", "C.UTF-8");
    // The client is not the one to be tried.
    desktop.addEntry("it.drelk.korvane", "env -u LD_PRELOAD " KORVANE_BINARY_DIR
                                         "/tests/endurance_client " +
                                             fifo_.string() + " " + std::to_string(delay) + " %U");
    const NSData data = Images().encode(paintLandscape(64, 48), NSBitmapImageFileType::PNG).value();
    photo_.assign(data.begin(), data.end());
  }
  ~Endurance() { ::close(found_); }
  Endurance(const Endurance&) = delete;
  Endurance& operator=(const Endurance&) = delete;

  Things make() {
    Things things;
    const std::string number = std::to_string(++number_);
    things.subject = "run-" + number;
    things.folder = desktop.folder / "things" / number;
    const auto add = [&](const std::string& name, const std::string& content) {
      std::filesystem::create_directories((things.folder / name).parent_path());
      writeFile(things.folder / name, content);
    };
    add("report.txt", "report " + number);
    add("album/one.txt", "one " + number);
    add("album/sub/two.txt", std::string(100'000, 'x') + number);
    add("photo.png", photo_);
    things.sources = describeFiles(things.folder);
    const std::string place = things.folder.string() + "/";
    things.arguments = {KORVANE_BINARY_DIR "/bin/korvane-share",
                        "--title",
                        things.subject,
                        "https://" + things.subject + ".example/",
                        place + "report.txt",
                        place + "album",
                        "--image",
                        place + "photo.png"};
    std::istringstream words(describeFiles(things.folder / "report.txt") +
                             describeFiles(things.folder / "album") + " image.png=png");
    for (std::string word; words >> word;) things.words.insert(word);
    return things;
  }

  /// The line of the client for a subject; absent where none comes within ten seconds.
  std::optional<std::string> found(const std::string& subject) {
    const Deadline deadline(10);
    for (;;) {
      readLines();
      if (const auto line = lines_.extract(subject)) return line.mapped();
      if (deadline.isOver()) return std::nullopt;
      pollfd wanted{found_, POLLIN, 0};
      ::poll(&wanted, 1, 100);
    }
  }

  /// The same without waiting.
  std::optional<std::string> foundSoFar(const std::string& subject) {
    readLines();
    const auto line = lines_.extract(subject);
    return line ? std::optional(line.mapped()) : std::nullopt;
  }

  /// Whether a share that ended did right; says on standard error what it did wrong.
  bool isRight(const Things& things, const Finished& finished, const std::string& what) {
    std::string wrong = judge(things, finished);
    if (wrong.empty() && describeFiles(things.folder) != things.sources) {
      wrong = "the sources were changed";
    }
    std::error_code ignored;
    std::filesystem::remove_all(things.folder, ignored);
    if (wrong.empty()) return true;
    std::fprintf(stderr, "%s: %s\n  exit %d, said: %s\n", what.c_str(), wrong.c_str(),
                 finished.status, finished.errors.c_str());
    return false;
  }

  /// A share in which nothing goes wrong: everything arrives, and nothing is left over.
  bool nextShareWorks(const std::string& what) {
    for (int attempt = 0; attempt < 2; ++attempt) {
      const Things things = make();
      const Finished finished = desktop.run(things.arguments);
      if (finished.errors.find(kNotTaken) != std::string::npos && attempt == 0) {
        describeFiles(staging());  // a client that was never started did not come for them
        continue;
      }
      if (!isRight(things, finished, what + ", the next share")) return false;
      if (finished.status != 0 || !finished.errors.empty()) {
        std::fprintf(stderr, "%s: the next share said %s\n", what.c_str(), finished.errors.c_str());
        return false;
      }
      break;
    }
    for (const auto& folder : {staging(), staging().parent_path()}) {
      for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (!isUnfinishedName(entry.path().filename().native())) continue;
        std::fprintf(stderr, "%s: %s is left over\n", what.c_str(), entry.path().c_str());
        return false;
      }
    }
    return true;
  }

  std::filesystem::path staging() const {
    return desktop.folder / "data/Q7K4M2XW9P.korvane/SharedData/Share";
  }

  /// What the client found for a subject, where it has said so; whatever it found is checked.
  bool foundNothingWrong(const Things& things, const std::string& line) const {
    std::istringstream words(line);
    for (std::string word; words >> word;) {
      if (word == things.subject) continue;
      if (!things.words.contains(withoutNumber(word))) return false;
    }
    return true;
  }

  static constexpr std::string_view kNotTaken =
      "the mail client has not taken the files of the message before this one yet";

  PrivateDesktop desktop;

 private:
  /// "report_1.txt=..." is "report.txt=...": where the folder could not be emptied, names are
  /// taken.
  static std::string withoutNumber(const std::string& word) {
    static const std::regex number("^([^/=.]+)_[0-9]+");
    return std::regex_replace(word, number, "$1");
  }

  std::string judge(const Things& things, const Finished& finished) {
    if (finished.status < 0) return "it was ended by signal " + std::to_string(-finished.status);
    if (finished.status != 0 && finished.errors.empty()) return "it failed without a word";
    if (finished.errors.find("not handed over") != std::string::npos) {
      return finished.status == 1 ? "" : "it was not handed over, and that is not a failure";
    }
    const auto line = found(things.subject);
    if (!line) return "nothing arrived";
    std::set<std::string> missing = things.words;
    std::istringstream words(*line);
    for (std::string word; words >> word;) {
      if (word == things.subject) continue;
      if (missing.erase(withoutNumber(word)) == 0) {
        return "what arrived is another's or is broken: " + *line;
      }
    }
    for (const std::string& word : missing) {
      const std::string name = word.substr(0, word.find('='));
      const std::string told = name == "image.png" ? "photo.png" : name;
      const auto isTold = [&](const std::string& text) {
        return finished.errors.find((things.folder / text).string()) != std::string::npos;
      };
      bool said = false;
      for (std::string text = told; !said; text.resize(text.rfind('/'))) {
        said = isTold(text);  // the thing itself, or a folder that holds it
        if (text.find('/') == std::string::npos) break;
      }
      if (!said) return name + " is missing and was not told";
    }
    return {};
  }

  void readLines() {
    char buffer[4096];
    for (ssize_t size; (size = ::read(found_, buffer, sizeof buffer)) > 0;) {
      rest_.append(buffer, static_cast<std::size_t>(size));
    }
    for (std::size_t end; (end = rest_.find('\n')) != std::string::npos; rest_.erase(0, end + 1)) {
      const std::string line = rest_.substr(0, end);
      lines_[line.substr(0, line.find(' '))] = line;
    }
  }

  std::filesystem::path fifo_;
  int found_ = -1;
  std::string photo_;
  std::string rest_;
  std::map<std::string, std::string> lines_;
  int number_ = 0;
};

}  // namespace korvane::testing
