#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>

#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>

#include "host/DirectoryReport.h"
#include "model/ExtensionAddress.h"
#include "model/ExtensionAlias.h"
#include "model/ExtensionGroup.h"
#include "support/ChildProcess.h"
#include "support/PropertyListWriter.h"
#include "support/TemporaryFolder.h"
#include "support/TestPlatform.h"

namespace korvane {
namespace {

using nlohmann::json;
using testing::BinaryWriter;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;
using testing::XMLWriter;

// The program on a container of the test.
class KorvaneDirectory : public ::testing::Test {
 protected:
  struct Outcome {
    int status;
    std::string output;
    std::string errors;
  };

  Outcome run(const std::vector<std::string>& arguments) const {
    return run(KORVANE_BINARY_DIR "/bin/korvane-directory", arguments);
  }
  Outcome run(const std::string& program, const std::vector<std::string>& arguments) const {
    std::vector<std::string> command{"sh",
                                     "-c",
                                     "XDG_DATA_HOME=\"$1\" LC_ALL=C.UTF-8 exec >\"$2\" 2>\"$3\"; "
                                     "export XDG_DATA_HOME LC_ALL; shift 3; exec \"$@\"",
                                     "sh",
                                     folder_.path("home"),
                                     folder_.path("output"),
                                     folder_.path("errors"),
                                     program};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const int status = testing::ChildProcess(command).wait();
    return {status, testing::contentOf(folder_.path("output")),
            testing::contentOf(folder_.path("errors"))};
  }
  void write(const std::string& name, std::string_view content,
             const std::string& edition = "SharedData") const {
    folder_.file("home/Q7K4M2XW9P.korvane/" + edition + "/" + name, content);
  }

  testing::TemporaryFolder folder_;
};

TEST_F(KorvaneDirectory, SamplesOfTheRepository) {
  Outcome accounts[2];
  Outcome contacts[2];
  for (const bool binary : {false, true}) {
    const std::string samples =
        std::string(KORVANE_SOURCE_DIR "/packaging/samples/directory") + (binary ? "-binary" : "");
    const std::string home = folder_.path("home/Q7K4M2XW9P.korvane/SharedData");
    std::filesystem::remove_all(home);
    std::filesystem::create_directories(home);
    std::filesystem::copy(samples, home, std::filesystem::copy_options::recursive);
    accounts[binary] = run({"accounts"});
    contacts[binary] = run({"contacts"});
  }
  EXPECT_EQ(accounts[0].status, 0);
  EXPECT_EQ(accounts[0].output,
            "ann.almeida@mail.example (Ann Almeida), type 1\n"
            "  alias ann@almeida.example (Ann)\n"
            "  alias sales@almeida.example (Almeida & Sons, Sales)\n"
            "ann@work.example (Work), type 3\n"
            "old@mail.example, type 2, disabled\n");
  EXPECT_EQ(contacts[0].output,
            "Contacts:\n"
            "  Zoë Brown <zoe@mail.example>\n"
            "  林 漢字 <lin@mail.example>\n"
            "  The Paper Shop <orders@shop.example>\n"
            "  <noreply@list.example>\n"
            "  Otto Ek <No Mail>\n"
            "  ياسمين <yasmin@mail.example>\n"
            "Groups:\n"
            "  Family \U0001F642 (2)\n"
            "    Zoë Brown <zoe@mail.example>\n"
            "    ياسمين <yasmin@mail.example>\n"
            "  Paper (2)\n"
            "    林 漢字 <lin@mail.example>\n"
            "    The Paper Shop <orders@shop.example>\n"
            "  Nobody yet\n");
  EXPECT_EQ(accounts[1].output, accounts[0].output);
  EXPECT_EQ(contacts[1].output, contacts[0].output);
}

TEST_F(KorvaneDirectory, AnEmptyDirectoryIsAnEmptyListing) {
  const std::pair<std::vector<std::string>, std::string_view> cases[] = {
      {{"accounts"}, ""},
      {{"contacts"}, ""},
      {{"--json", "accounts"}, "[]\n"},
      {{"contacts", "--json"}, "{\"addresses\": [], \"groups\": []}\n"}};
  for (const auto& [arguments, output] : cases) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, output);
    EXPECT_THAT(outcome.errors, IsEmpty());
  }
}

TEST_F(KorvaneDirectory, TheIdentifierChoosesTheEdition) {
  write("Accounts.plist", XMLWriter::write(List{Dictionary{{"mail", "regular"}}}));
  write("Accounts.plist", XMLWriter::write(List{Dictionary{{"mail", "beta"}}}), "SharedDataBeta");
  EXPECT_EQ(run({"accounts"}).output, "regular, type 0, disabled\n");
  EXPECT_EQ(run({"--identifier", "it.drelk.korvane.beta8", "accounts"}).output,
            "beta, type 0, disabled\n");
  EXPECT_EQ(run({"--identifier=it.drelk.korvane.beta10.share", "accounts"}).output,
            "beta, type 0, disabled\n");
  EXPECT_EQ(run({"--identifier=it.drelk.korvane2", "accounts"}).output,
            "regular, type 0, disabled\n");
}

TEST_F(KorvaneDirectory, HelpAndVersion) {
  for (const char* option : {"-h", "--help"}) {
    const Outcome outcome = run({option});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, StartsWith("usage: korvane-directory "));
  }
  const Outcome version = run({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_THAT(version.output, StartsWith("korvane-directory "));
}

TEST_F(KorvaneDirectory, Usage) {
  const std::vector<std::string> cases[] = {{},
                                            {"nonsense"},
                                            {"accounts", "contacts"},
                                            {"accounts", "accounts"},
                                            {"--nonsense", "accounts"},
                                            {"--identifier"},
                                            {"--identifier", "", "accounts"},
                                            {"--identifier=", "accounts"},
                                            {"--identifier=a", "--identifier=b", "accounts"},
                                            {"--", "--json", "accounts"},
                                            {"\x1b[31m\n"}};
  for (const auto& arguments : cases) {
    SCOPED_TRACE(::testing::PrintToString(arguments));
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.output, IsEmpty());
    EXPECT_THAT(outcome.errors, StartsWith("korvane-directory: "));
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1);
    EXPECT_THAT(outcome.errors, Not(HasSubstr("\x1b")));
  }
}

TEST_F(KorvaneDirectory, OutputThatCannotBeWritten) {
  const Outcome outcome = run("sh", {"-c", "exec \"$0\" --json accounts > /dev/full",
                                     KORVANE_BINARY_DIR "/bin/korvane-directory"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.errors, StartsWith("korvane-directory: cannot write: "));
}

// --- the report ---

// A value of every kind that a property list can hold.
const List kOddValues = {"\x1b]0;title\x07 line\nbreak \xE2\x80\xAE",
                         "not UTF-8 \xFF\xC0\x80",
                         std::string_view("NUL \0 inside", 12),
                         "\"quotes\" \\ and </script>",
                         std::numeric_limits<std::int64_t>::min(),
                         1.5,
                         1e300,
                         std::numeric_limits<double>::quiet_NaN(),
                         -std::numeric_limits<double>::infinity(),
                         true,
                         NSDate{0},
                         NSDate{1e200},
                         NSData{0, 1, 255, 254},
                         List{List{"a", 1}, Dictionary{{"k\n", List{}}}},
                         Dictionary{{"", Dictionary{}}, {"\xFF", "\xFF"}}};

TEST(DirectoryReport, JSONIsValidWhateverTheFieldsHold) {
  testing::TestPlatform platform;
  for (const Value& odd : kOddValues) {
    SCOPED_TRACE(odd.description());
    const Dictionary fields{{"mail", odd},      {"name", odd},     {"account", odd},
                            {"firstName", odd}, {"lastName", odd}, {"company", odd},
                            {"nickname", odd},  {"idx", odd}};
    Dictionary account = fields;
    account.set("aliases", List{fields, odd});
    Dictionary group = fields;
    group.set("addresses", List{fields, odd});
    const ExtensionAccounts accounts{std::make_shared<ExtensionAccount>(account),
                                     std::make_shared<ExtensionAccount>(odd)};
    ExtensionDirectory directory;
    directory.addresses = {std::make_shared<ExtensionAddress>(fields),
                           std::make_shared<ExtensionAddress>(odd)};
    directory.groups = {std::make_shared<ExtensionGroup>(group),
                        std::make_shared<ExtensionGroup>(odd)};
    for (const std::string& text : {accountsJSON(accounts), contactsJSON(directory)}) {
      const json parsed = json::parse(text, nullptr, false);
      ASSERT_FALSE(parsed.is_discarded()) << text;
      for (const char c : text.substr(0, text.size() - 1))
        EXPECT_GE(static_cast<unsigned char>(c), 0x20);
    }
    for (const std::string& text : {accountsText(accounts), contactsText(directory)}) {
      EXPECT_THAT(text, Not(HasSubstr("\x1b")));
      EXPECT_THAT(text, Not(HasSubstr("\x07")));
      EXPECT_FALSE(json(text).dump(-1, ' ', false).empty());  // throws where it is not UTF-8
    }
  }
}

TEST(DirectoryReport, JSONKeepsTheKinds) {
  testing::TestPlatform platform;
  const auto account = std::make_shared<ExtensionAccount>(Dictionary{
      {"mail", List{1, 2.5, true, NSDate{0}, NSData{1, 2, 3, 4}, Dictionary{{"k", "v"}}}},
      {"name", std::numeric_limits<std::int64_t>::min()},
      {"type", 7},
      {"enabled", "yes"}});
  EXPECT_EQ(accountsJSON({account}),
            "[{\"mail\": [1, 2.5, true, \"1970-01-01 00:00:00 +0000\", \"AQIDBA==\", "
            "{\"k\": \"v\"}], \"name\": -9223372036854775808, \"type\": 7, \"enabled\": true, "
            "\"aliases\": []}]\n");
  EXPECT_EQ(accountsJSON({std::make_shared<ExtensionAccount>()}),
            "[{\"mail\": null, \"name\": null, \"type\": 0, \"enabled\": false, \"aliases\": "
            "null}]\n");
}

TEST(DirectoryReport, JSONOfContacts) {
  testing::TestPlatform platform;
  ExtensionDirectory directory;
  directory.addresses = {std::make_shared<ExtensionAddress>(
      Dictionary{{"mail", "a@b.example"}, {"firstName", "A"}, {"rank", "12"}})};
  directory.groups = {
      std::make_shared<ExtensionGroup>(Dictionary{{"idx", 1}, {"addresses", List{Dictionary{}}}}),
      std::make_shared<ExtensionGroup>("no group")};
  const json parsed = json::parse(contactsJSON(directory));
  EXPECT_EQ(parsed["addresses"][0], (json{{"mail", "a@b.example"},
                                          {"firstName", "A"},
                                          {"lastName", ""},
                                          {"company", ""},
                                          {"nickname", ""},
                                          {"rank", 12},
                                          {"prettyprint", "A <a@b.example>"}}));
  EXPECT_EQ(parsed["groups"][0]["name"], "No Name");
  EXPECT_EQ(parsed["groups"][0]["prettyprint"], "No Name (1)");
  EXPECT_EQ(parsed["groups"][0]["addresses"][0]["prettyprint"], "<No Mail>");
  EXPECT_TRUE(parsed["groups"][1]["addresses"].is_null());
}

}  // namespace
}  // namespace korvane
