#include "host/CommandLine.h"

#include <gmock/gmock.h>

#include "host/InputError.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using Words = std::vector<std::string>;

class CommandLines : public ::testing::Test {
 protected:
  std::string why(const Words& words) {
    try {
      parse(line, words);
    } catch (const InputError& error) {
      return error.what();
    }
    return {};
  }

  std::string name;
  bool isLoud = false;
  Words others;
  CommandLine line{
      .program = "a-program",
      .usage = {"[OPTION]... FILE", "--list"},
      .before = "What it does.\n\n",
      .options =
          {{"--name", "NAME",
            "its name, which may be whatever\na person likes to call it, and is shown\nnowhere",
            once("--name", name)},
           {"-l, --loud", "", "make noise", flag(isLoud)}},
      .after = [] { return std::string("\nThe end.\n"); },
      .takeOther = [this](std::string other) { others.push_back(std::move(other)); },
  };
};

TEST_F(CommandLines, OptionsStandAnywhereBeforeTwoDashes) {
  EXPECT_EQ(parse(line, {"x", "--loud", "-", "--name=\xE4=", "--", "--loud", "--", "-l"}),
            CommandLineWish::work);
  EXPECT_TRUE(isLoud);
  EXPECT_EQ(name, "\xE4=");
  EXPECT_THAT(others, ElementsAre("x", "-", "--loud", "--", "-l"));
}

TEST_F(CommandLines, AnArgumentMayBeginWithADash) {
  parse(line, {"--name", "--loud"});
  EXPECT_EQ(name, "--loud");
  EXPECT_FALSE(isLoud);
}

TEST_F(CommandLines, HelpAndVersionWinOverWhatFollows) {
  EXPECT_EQ(parse(line, {"x", "--help", "--nonsense"}), CommandLineWish::help);
  EXPECT_EQ(parse(line, {"-h"}), CommandLineWish::help);
  EXPECT_EQ(parse(line, {"--version", "--name"}), CommandLineWish::version);
  EXPECT_EQ(parse(line, {"--", "--help"}), CommandLineWish::work);
}

TEST_F(CommandLines, WrongUsageIsTold) {
  std::vector<std::string> heard;
  line.refused = [&](const std::string& reason) { heard.push_back(reason); };
  EXPECT_EQ(why({"--nam", "x"}), "unknown option \"--nam\"");
  EXPECT_EQ(why({"-"}), "");
  EXPECT_EQ(why({"-lv"}), "unknown option \"-lv\"");
  EXPECT_EQ(why({"---"}), "unknown option \"---\"");
  EXPECT_EQ(why({"-l, --loud"}), "unknown option \"-l, --loud\"");
  EXPECT_EQ(why({"--name"}), "--name needs an argument");
  EXPECT_EQ(why({"--name="}), "--name needs an argument that is not empty");
  EXPECT_EQ(why({"--name=a", "--name=b"}), "--name may be given only once");
  EXPECT_EQ(why({"--loud=x"}), "--loud takes no argument");
  EXPECT_EQ(why({"--help=x"}), "--help takes no argument");
  line.check = [] { throw InputError("no"); };
  EXPECT_EQ(why({}), "no");
  EXPECT_EQ(why({"--help"}), "");
  EXPECT_EQ(heard.size(), 10U);
}

TEST_F(CommandLines, HelpIsMadeOfTheTable) {
  EXPECT_EQ(helpText(line),
            "Usage: a-program [OPTION]... FILE\n"
            "       a-program --list\n"
            "What it does.\n\n"
            "  --name NAME  its name, which may be whatever a person likes to call it, and is\n"
            "               shown nowhere\n"
            "  -l, --loud   make noise\n"
            "  -h, --help   print this text\n"
            "  --version    print the version\n"
            "\nThe end.\n");
  line.usage = {""};
  EXPECT_THAT(helpText(line), ::testing::StartsWith("Usage: a-program\n"));
  line.after = {};
  EXPECT_TRUE(helpText(line).ends_with("print the version\n"));
  EXPECT_THAT(versionText(line), ::testing::MatchesRegex("a-program [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

// The texts are taken as they stand in the table, and translated when they are shown.
TEST_F(CommandLines, HelpIsInThePersonsLanguage) {
  setTranslator([](const char* one, const char*, unsigned long) -> const char* {
    const std::string text = one;
    if (text == "Usage:") return "Größe:";
    if (text == "NAME") return "ÄÖÜ";
    if (text == "make noise") return "lärmen";
    return one;
  });
  const std::string help = helpText(line);
  setTranslator(nullptr);
  EXPECT_THAT(help, ::testing::StartsWith("Größe: a-program [OPTION]... FILE\n"
                                          "       a-program --list\n"));
  EXPECT_THAT(help, ::testing::HasSubstr("call it, and is\n"
                                         "              shown nowhere\n"
                                         "  -l, --loud  lärmen\n"
                                         "  -h, --help  print this text\n"));
}

}  // namespace
}  // namespace korvane
