// The manual page of each program names exactly the options that --help lists, with their
// arguments.
#include <gmock/gmock.h>

#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/PrivateDesktop.h"
#include "text/UTF8.h"

#include "support/Places.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using testing::Finished;
using testing::PrivateDesktop;
using testing::readFile;

/// Each spelling of an option with the name of its argument, "" where it takes none.
using Options = std::map<std::string, std::string>;

Options optionsOfHelp(const std::string& help) {
  static const std::regex kRow(R"(\n  ((-[a-z]), )?(--[a-z-]+)( ([A-Z][A-Za-z.]*))?(?=  |\n))");
  Options options;
  for (std::sregex_iterator row(help.begin(), help.end(), kRow), end; row != end; ++row) {
    options[(*row)[3]] = (*row)[5];
    if ((*row)[2].matched) options[(*row)[2]] = "";
  }
  return options;
}

/// The tags of the paragraphs in the page's section OPTIONS: ".BI \-\-title " TEXT"" and the like.
Options optionsOfManual(std::string page) {
  const std::size_t start = page.find("\n.SH OPTIONS\n");
  if (start == std::string::npos) return {};
  page = page.substr(start, page.find("\n.SH ", start + 1) - start);
  static const std::regex kTag("\n\\.TP\n\\.B[IR]? (.*)");
  static const std::regex kName(R"re((\\-(\\-)?[a-z][a-z\\-]*)( *" ([A-Z][A-Za-z.]*)")?)re");
  Options options;
  for (std::sregex_iterator tag(page.begin(), page.end(), kTag), end; tag != end; ++tag) {
    const std::string text = (*tag)[1];
    for (std::sregex_iterator name(text.begin(), text.end(), kName); name != end; ++name) {
      options[std::regex_replace((*name)[1].str(), std::regex(R"(\\)"), "")] = (*name)[4];
    }
  }
  return options;
}

/// The lines that are longer than a terminal is wide, or end in a space. Requests in JSON stand as
/// they are written.
std::vector<std::string> linesThatDoNotFit(const std::string& help) {
  std::vector<std::string> found;
  std::istringstream lines(help);
  for (std::string line; std::getline(lines, line);) {
    if (line.find('{') != std::string::npos) continue;
    if (columnsOf(line) > 80 || line.ends_with(' ')) found.push_back(line);
  }
  return found;
}

TEST(Manuals, NameTheOptionsThatHelpLists) {
  const PrivateDesktop desktop;
  int pages = 0;
  for (const auto& entry : fs::directory_iterator(KORVANE_SOURCE_DIR "/packaging/man")) {
    const fs::path program = fs::path(KORVANE_BINARY_DIR "/bin") / entry.path().stem();
    const std::string section = entry.path().extension();
    if (section != ".1" && section != ".8") continue;
    SCOPED_TRACE(entry.path().filename().string());
    ASSERT_TRUE(fs::exists(program)) << "the page of a program that was not built";
    const Finished help = desktop.run({program, "--help"});
    ASSERT_EQ(help.status, 0) << help.errors;
    const Options options = optionsOfHelp(help.output);
    EXPECT_GE(options.size(), 3U);
    EXPECT_EQ(optionsOfManual(readFile(entry.path())), options);
    ++pages;
  }
  EXPECT_GE(pages, 5);
}

TEST(Manuals, HelpFitsATerminalInEveryLanguage) {
  PrivateDesktop desktop;
  desktop.set("LC_ALL", "C.UTF-8");
  for (const char* language : {"en", "de", "es", "fr", "it"}) {
    desktop.set("LANGUAGE", language);
    for (const char* program : {"korvane-share", "korvane-directory", "korvane-message",
                                "korvane-compose", "korvane-portal", "korvane-browser"}) {
      const Finished help =
          desktop.run({std::string(KORVANE_BINARY_DIR "/bin/") + program, "--help"});
      EXPECT_THAT(linesThatDoNotFit(help.output), ::testing::IsEmpty())
          << program << " in " << language;
      EXPECT_EQ(help.status, 0) << help.errors;
    }
  }
}

TEST(Manuals, StandForEveryInstalledProgram) {
  for (const char* page :
       {"korvane-share.1", "korvane-directory.1", "korvane-message.1", "korvane-compose.1",
        "korvane-portal.1", "korvane-browser.8", "korvane-share-request.5"}) {
    EXPECT_TRUE(fs::exists(fs::path(KORVANE_SOURCE_DIR "/packaging/man") / page)) << page;
  }
}

}  // namespace
}  // namespace korvane
