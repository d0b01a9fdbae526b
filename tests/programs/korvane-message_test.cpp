// korvane-message as a person runs it.
#include "host/MessageMain.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "support/Places.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

using nlohmann::json;
using testing::TemporaryFolder;

struct Outcome {
  int status = -1;
  std::string output;
  std::string errors;
};

/// Runs the program with a standard input; its output goes to a file, or to a terminal.
class Program {
 public:
  Outcome run(const std::vector<std::string>& arguments, const std::string& input = {}) const {
    const std::string output = folder_.path("output");
    return finish(start(arguments, folder_.file("input", input), output), output);
  }
  Outcome runWithOutput(const std::vector<std::string>& arguments,
                        const std::string& output) const {
    return finish(start(arguments, "/dev/null", output), folder_.file("nothing"));
  }
  /// Standard input and output are a terminal.
  Outcome runOnTerminal(const std::vector<std::string>& arguments) const {
    int terminal = -1;
    int child = -1;
    if (::openpty(&terminal, &child, nullptr, nullptr, nullptr) != 0) return {};
    const std::string name = "/proc/self/fd/" + std::to_string(child);
    const pid_t process = start(arguments, name, name);
    ::close(child);
    std::string shown;
    char buffer[4096];
    for (;;) {
      const ssize_t count = ::read(terminal, buffer, sizeof buffer);
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) break;  // EIO once the program has ended
      shown.append(buffer, static_cast<std::size_t>(count));
    }
    ::close(terminal);
    Outcome outcome = finish(process, folder_.file("nothing"));
    outcome.output = shown;
    return outcome;
  }

 private:
  pid_t start(const std::vector<std::string>& arguments, const std::string& input,
              const std::string& output) const {
    const std::string program = KORVANE_BINARY_DIR "/bin/korvane-message";
    const std::string errors = folder_.path("errors");
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) {
      argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    const pid_t process = ::fork();
    if (process == 0) {
      redirect(input, O_RDONLY, STDIN_FILENO);
      redirect(output, O_WRONLY | O_CREAT | O_TRUNC, STDOUT_FILENO);
      redirect(errors, O_WRONLY | O_CREAT | O_TRUNC, STDERR_FILENO);
      ::execv(program.c_str(), argv.data());
      ::_exit(127);
    }
    return process;
  }
  static void redirect(const std::string& path, int flags, int descriptor) {
    const int opened = ::open(path.c_str(), flags | O_NOCTTY, 0600);
    if (opened < 0 || ::dup2(opened, descriptor) < 0) ::_exit(126);
  }
  Outcome finish(pid_t process, const std::string& output) const {
    Outcome outcome;
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    outcome.output = testing::contentOf(output);
    outcome.errors = testing::contentOf(folder_.path("errors"));
    return outcome;
  }

  TemporaryFolder folder_;
};

std::string encoded(const std::string& path) {
  std::string result;
  for (const char c : path) result += c == '/' ? std::string("%2F") : std::string(1, c);
  return result;
}

TEST(KorvaneMessage, Text) {
  TemporaryFolder folder;
  const std::string file = folder.file("a.txt", "12345");
  const std::string one = folder.file("one", "1");
  const Outcome outcome = Program().run(
      {"korvane://compose?plainBody=Hello%0Ayou&htmlBody=%3Cb%3E&subject=Tea%20%26%20x&from=f%40a&"
       "account=a%40a&bcc=1%3B&cc=2%3B&to=3%3B4%3B&attachment_0=" +
       encoded(file) + "&attachment_1=" + encoded(folder.path("missing")) +
       "&attachment_2=" + encoded(folder.path()) + "&attachment_3=" + encoded(one)});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.output,
            "Subject:     Tea & x\n"
            "From:        f@a\n"
            "Account:     a@a\n"
            "To:          3;4;\n"
            "Cc:          2;\n"
            "Bcc:         1;\n"
            "Attachments: 4\n"
            "  " +
                file +
                " (5 bytes)\n"
                "  " +
                folder.path("missing") +
                " (missing)\n"
                "  " +
                folder.path() +
                " (folder)\n"
                "  " +
                one +
                " (1 byte)\n"
                "\n"
                "Plain body:\nHello\nyou\n"
                "\n"
                "HTML body:\n<b>\n");
}

TEST(KorvaneMessage, TextOfAnEmptyMessage) {
  for (const char* url : {"korvane://compose", "korvane://compose?", "KORVANE://x?y=z"}) {
    const Outcome outcome = Program().run({url});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output,
              "Subject:     -\nFrom:        -\nAccount:     -\nTo:          -\nCc:          -\n"
              "Bcc:         -\nAttachments: -\n");
  }
}

TEST(KorvaneMessage, JSON) {
  TemporaryFolder folder;
  const std::string file = folder.file("a.txt", "12345");
  const std::string url =
      "korvane://compose?plainBody=%00%01%0A%09%22%5C%7F%C2%9B%E2%80%AE%F0%9F%98%80&subject=&"
      "to=a%3B&attachment_0=" +
      encoded(file) + "&attachment_1=%2Fno%00%2Fx";
  const Outcome outcome = Program().run({"--json", url});
  EXPECT_EQ(outcome.status, 0);
  const json want = {
      {"subject", ""},
      {"from", nullptr},
      {"account", nullptr},
      {"to", "a;"},
      {"cc", nullptr},
      {"bcc", nullptr},
      {"plainBody", std::string("\0\x01\n\t\"\\\x7f\u009b\u202e\U0001F600", 16)},
      {"htmlBody", ""},
      {"attachments",
       {{{"path", file}, {"exists", true}, {"size", 5}},
        {{"path", std::string("/no\0/x", 6)}, {"exists", false}, {"size", nullptr}}}}};
  EXPECT_EQ(json::parse(outcome.output), want);
  // One line, and nothing in it that a terminal obeys.
  EXPECT_EQ(outcome.output.find('\n'), outcome.output.size() - 1);
  EXPECT_NE(outcome.output.find("\\u007f\\u009b\\u202e"), std::string::npos);
}

TEST(KorvaneMessage, HTML) {
  const Program program;
  EXPECT_EQ(
      program.run({"--html", "korvane://compose?plainBody=http%3A%2F%2Fa.example%0Ax"}).output,
      "<a href='http://a.example'>http://a.example</a><br>x\n");
  EXPECT_EQ(
      program.run({"--html", "korvane://compose?htmlBody=%3Cb%3E&attachment_0=%2Ftmp%2Fa"}).output,
      "<b><img src=\"file:///tmp/a\"/><br/>\n");
  EXPECT_EQ(program.run({"--html", "korvane://compose"}).output, "\n");
}

TEST(KorvaneMessage, StandardInput) {
  const Program program;
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"--json"}, {"--json", "-"}, {"-", "--json"}}) {
    const Outcome outcome = program.run(arguments, " \n korvane://compose?subject=x\r\n\n");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(json::parse(outcome.output)["subject"], "x");
  }
  EXPECT_EQ(program.run({"--", "-"}, "").status, 2);
}

TEST(KorvaneMessage, TwentyMegabytesFromStandardInput) {
  const std::string body(20'000'000, 'x');
  const Outcome outcome =
      Program().run({"--json"}, "korvane://compose?subject=s&plainBody=" + body + "\n");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(json::parse(outcome.output)["plainBody"] == body);
}

TEST(KorvaneMessage, RefusesWithOneLine) {
  const Program program;
  struct Row {
    std::vector<std::string> arguments;
    std::string input;
    std::string reason;
  };
  for (const Row& row : std::vector<Row>{
           {{"http://a b"}, "", "this is not a URL"},
           {{""}, "", "this is not a URL"},
           {{"korvane://compose?subject=%zz"}, "", "this is not a URL"},
           {{"korvane://compose?subject=\x1b[2J"}, "", "this is not a URL"},
           {{}, "", "this is not a URL"},
           {{}, " \n", "this is not a URL"},
           {{}, "korvane://a korvane://b", "this is not a URL"},
           {{"https://a.example/?subject=x"}, "", "this is not a korvane: URL"},
           {{"compose?subject=x"}, "", "this is not a korvane: URL"},
           {{"korvane://compose?subject=%FF"}, "", "the URL's query cannot be decoded"},
           {{"korvane://compose#x?subject=y"}, "", "the URL's query cannot be decoded"},
           {{"--xml", "korvane://a"}, "", "unknown option \"--xml\""},
           {{"--\x1b[2J"}, "", "unknown option \"--<U+001B>[2J\""},
           {{"korvane://a", "korvane://b"}, "", "more than one URL is given"},
           {{"--json", "--html", "korvane://a"}, "", "--json and --html exclude each other"},
       }) {
    const Outcome outcome = program.run(row.arguments, row.input);
    EXPECT_EQ(outcome.status, 2) << row.reason;
    EXPECT_EQ(outcome.output, "");
    EXPECT_TRUE(outcome.errors.starts_with("korvane-message: " + row.reason)) << outcome.errors;
    EXPECT_EQ(outcome.errors.find('\n'), outcome.errors.size() - 1) << outcome.errors;
  }
}

TEST(KorvaneMessage, HelpAndVersion) {
  const Program program;
  for (const char* option : {"-h", "--help"}) {
    const Outcome outcome = program.run({option});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(outcome.output.starts_with("Usage: korvane-message [--json | --html] [URL]\n"));
  }
  const Outcome outcome = program.run({"--version"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(outcome.output.starts_with("korvane-message "));
}

TEST(KorvaneMessage, OutputThatCannotBeWritten) {
  const Outcome outcome = Program().runWithOutput({"korvane://compose?subject=x"}, "/dev/full");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.errors,
            "korvane-message: standard output cannot be written: No space left on device\n");
}

TEST(KorvaneMessage, ATerminalIsNotSteered) {
  const Program program;
  const std::string url =
      "korvane://compose?subject=a%1B%5B2Jb%0Ac&plainBody=x%1B%5D0%3By%07%0D%0Az%0Dw%E2%80%AE&"
      "attachment_0=%2Fno%0A%1B%5BA";
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{url}, {"--json", url}, {"--html", url}}) {
    const Outcome outcome = program.runOnTerminal(arguments);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_FALSE(outcome.output.empty());
    for (const std::string_view steering : {"\x1b", "\x07", "\u202e"}) {
      EXPECT_EQ(outcome.output.find(steering), std::string::npos) << outcome.output;
    }
  }
  const std::string text = program.run({url}).output;
  EXPECT_NE(text.find("Subject:     a<U+001B>[2Jb<U+000A>c\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\nx<U+001B>]0;y<U+0007>\nz<U+000D>w<U+202E>\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\n  /no<U+000A><U+001B>[A (missing)\n"), std::string::npos) << text;
  // A file gets the HTML as it is.
  EXPECT_NE(program.run({"--html", url}).output.find("\x1b]0;y\x07"), std::string::npos);
}

TEST(KorvaneMessage, NoURLOnATerminal) {
  const Outcome outcome = Program().runOnTerminal({});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_TRUE(outcome.errors.starts_with("korvane-message: no URL")) << outcome.errors;
}

}  // namespace
}  // namespace korvane
