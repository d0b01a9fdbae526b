#include "host/Arguments.h"

#include <gmock/gmock.h>

#include "host/InputError.h"

namespace korvane {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using Thing = Arguments::Thing;
using Kind = Arguments::Thing::Kind;
using Words = std::vector<std::string>;

Arguments parseArguments(const Words& words) {
  Arguments arguments;
  parse(shareCommandLine(arguments), words);
  return arguments;
}

TEST(Arguments, NothingAtAllIsAnEmptyShare) {
  const Arguments arguments = parseArguments({});
  EXPECT_THAT(arguments.things, IsEmpty());
  EXPECT_FALSE(arguments.title);
  EXPECT_EQ(arguments.request, "");
  EXPECT_FALSE(arguments.json);
  EXPECT_EQ(arguments.identifier, "");
  EXPECT_FALSE(arguments.dryRun);
  EXPECT_FALSE(arguments.verbose);
}

TEST(Arguments, ThingsKeepTheOrderGiven) {
  const Arguments arguments = parseArguments({"b.pdf", "--image", "p.jpg", "https://a.example/",
                                              "--text", "hello", "--html=f.html", "-", "a.pdf"});
  EXPECT_THAT(arguments.things, ElementsAre(Thing{Kind::item, "b.pdf"}, Thing{Kind::image, "p.jpg"},
                                            Thing{Kind::item, "https://a.example/"},
                                            Thing{Kind::text, "hello"}, Thing{Kind::html, "f.html"},
                                            Thing{Kind::item, "-"}, Thing{Kind::item, "a.pdf"}));
}

TEST(Arguments, OptionsStandAnywhereAndTakeTheirArgumentEitherWay) {
  const Arguments arguments = parseArguments(
      {"x", "--dry-run", "--title", "A title", "y", "--identifier=it.drelk.korvane2.share", "-v"});
  EXPECT_EQ(arguments.title, "A title");
  EXPECT_EQ(arguments.identifier, "it.drelk.korvane2.share");
  EXPECT_TRUE(arguments.dryRun);
  EXPECT_TRUE(arguments.verbose);
  EXPECT_THAT(arguments.things, ElementsAre(Thing{Kind::item, "x"}, Thing{Kind::item, "y"}));

  EXPECT_EQ(parseArguments({"--title=A=B"}).title, "A=B");
  EXPECT_EQ(parseArguments({"--title="}).title, "");
  EXPECT_EQ(parseArguments({"--title", ""}).title, "");
  EXPECT_EQ(parseArguments({"--title", "-v"}).title, "-v");
  EXPECT_EQ(parseArguments({"--title", "--"}).title, "--");
  EXPECT_EQ(parseArguments({"--request", "-"}).request, "-");
  EXPECT_TRUE(parseArguments({"--verbose", "-v"}).verbose);
}

TEST(Arguments, TheClipboardStandsAlone) {
  EXPECT_TRUE(parseArguments({"--clipboard"}).clipboard);
  EXPECT_FALSE(parseArguments({}).clipboard);
  for (const Words& words :
       {Words{"--clipboard", "a.pdf"}, Words{"--text", "x", "--clipboard"},
        Words{"--clipboard", "--title", "T"}, Words{"--request", "-", "--clipboard"}}) {
    EXPECT_THROW(parseArguments(words), InputError) << words[0];
  }
}

TEST(Arguments, ThePictureOfTheScreenStandsAlone) {
  EXPECT_TRUE(parseArguments({"--screenshot", "--json"}).screenshot);
  EXPECT_FALSE(parseArguments({}).screenshot);
  for (const Words& words :
       {Words{"--screenshot", "a.pdf"}, Words{"--text", "x", "--screenshot"},
        Words{"--clipboard", "--screenshot"}, Words{"--request", "-", "--screenshot"}}) {
    EXPECT_THROW(parseArguments(words), InputError) << words[0];
  }
}

TEST(Arguments, NothingAfterTwoDashesIsAnOption) {
  EXPECT_THAT(parseArguments({"-v", "--", "--title", "-x", "--", "-"}).things,
              ElementsAre(Thing{Kind::item, "--title"}, Thing{Kind::item, "-x"},
                          Thing{Kind::item, "--"}, Thing{Kind::item, "-"}));
  EXPECT_THAT(parseArguments({"--"}).things, IsEmpty());
}

TEST(Arguments, BytesAreKeptAsTheyAre) {
  EXPECT_THAT(parseArguments({"\xFF\xFE.txt", "--text=\xE4"}).things,
              ElementsAre(Thing{Kind::item, "\xFF\xFE.txt"}, Thing{Kind::text, "\xE4"}));
}

TEST(Arguments, WrongUsageHasOneClearLine) {
  struct Case {
    Words words;
    std::string says;
  };
  const std::vector<Case> cases = {
      {{"--nonsense"}, "unknown option \"--nonsense\""},
      {{"--titl", "x"}, "unknown option \"--titl\""},
      {{"-x"}, "unknown option \"-x\""},
      {{"-vv"}, "unknown option \"-vv\""},
      {{"---"}, "unknown option \"---\""},
      {{"--nonsense=secret"}, "unknown option \"--nonsense\""},
      {{"--help", "x", ""}, ""},  // help does not look further
      {{"--title"}, "--title needs an argument"},
      {{"x", "--image"}, "--image needs an argument"},
      {{"--image="}, "--image needs an argument that is not empty"},
      {{"--html", ""}, "--html needs an argument that is not empty"},
      {{"--request="}, "--request needs an argument that is not empty"},
      {{"--identifier="}, "--identifier needs an argument that is not empty"},
      {{"--dry-run=yes"}, "--dry-run takes no argument"},
      {{""}, "an item is empty"},
      {{"--", ""}, "an item is empty"},
      {{"--title=a", "--title=b"}, "--title may be given only once"},
      {{"--request=a", "--request=b"}, "--request may be given only once"},
      {{"--identifier=a", "--identifier=b"}, "--identifier may be given only once"},
      {{"--request=a", "x"}, "--request cannot be combined"},
      {{"--request=a", "--title=x"}, "--request cannot be combined"},
      {{"--text=x", "--request=a"}, "--request cannot be combined"},
      {{"--json", "--dry-run"}, "--json cannot be combined with --dry-run"},
      {{"-", "-"}, "standard input (\"-\") can be read only once"},
      {{"-", "--image=-"}, "standard input (\"-\") can be read only once"},
  };
  for (const Case& c : cases) {
    std::string said;
    try {
      parseArguments(c.words);
    } catch (const InputError& error) {
      said = error.what();
    }
    EXPECT_THAT(said, HasSubstr(c.says)) << ::testing::PrintToString(c.words);
    EXPECT_EQ(said.empty(), c.says.empty()) << ::testing::PrintToString(c.words);
    EXPECT_THAT(said, Not(HasSubstr("\n")));
  }
}

TEST(Arguments, ATextOfOneDashIsNoInput) {
  EXPECT_THAT(parseArguments({"--text=-", "-"}).things,
              ElementsAre(Thing{Kind::text, "-"}, Thing{Kind::item, "-"}));
}

TEST(Arguments, HelpNamesEveryOption) {
  Arguments arguments;
  const std::string help = helpText(shareCommandLine(arguments));
  for (const char* name :
       {"--title", "--text", "--html", "--image", "--request", "--identifier", "--dry-run",
        "--json", "-v", "--help", "--version", "ITEM", "Exit status"}) {
    EXPECT_THAT(help, HasSubstr(name));
  }
}

}  // namespace
}  // namespace korvane
