#include "host/DirectoryMain.h"

#include <gmock/gmock.h>
#include <spawn.h>

#include <filesystem>

#include "support/ChildProcess.h"
#include "support/Places.h"
#include "support/PropertyListWriter.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

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
    EXPECT_THAT(outcome.output, StartsWith("Usage: korvane-directory "));
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
  EXPECT_THAT(outcome.errors, StartsWith("korvane-directory: standard output cannot be written: "));
}

TEST_F(KorvaneDirectory, WhatCannotBeReadIsNotAnEmptyListing) {
  const std::string container = folder_.path("home/Q7K4M2XW9P.korvane");
  write("Accounts.plist", "not a property list");
  const Outcome outcome = run({"accounts"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.errors, "korvane-directory: " + container +
                                "/SharedData/Accounts.plist cannot be read: it does not hold a "
                                "property list of a list\n");
  std::filesystem::remove_all(container + "/SharedData");
  folder_.file("home/Q7K4M2XW9P.korvane/SharedData", "a file");
  EXPECT_EQ(run({"--json", "accounts"}).errors,
            "korvane-directory: " + container +
                "/SharedData/Accounts.plist cannot be read: Not a directory\n");
}

TEST_F(KorvaneDirectory, AContainerThatCannotBeLockedIsNotAnEmptyListing) {
  folder_.file("home/Q7K4M2XW9P.korvane.lock/in the way", "");
  const Outcome outcome = run({"contacts", "--json"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output, "");
  EXPECT_THAT(outcome.errors, StartsWith("korvane-directory: the container cannot be locked: "));
}

TEST_F(KorvaneDirectory, ATextThatIsNamedManyTimesTakesTheRoomOfOne) {
  // A list that names one account 60,000 times, whose mail has a megabyte: 60 GB of listing.
  const std::string text(1 << 20, 'x');
  std::string list = testing::BinaryWriter::marker(0xA, 60'000);
  for (int i = 0; i < 60'000; ++i) list += '\2';
  write("Accounts.plist",
        testing::BinaryWriter::file({testing::BinaryWriter::marker(5, text.size()) + text,
                                     "\x54mail", std::string("\xD1\x01\x00", 3), list},
                                    3, 1));
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  const std::string bound;  // a sanitizer's own memory has no bound
#else
  const std::string bound = "ulimit -v 400000; ";
#endif
  const Outcome outcome = run("sh", {"-c", bound + "\"$0\" accounts | head -c 3000000 | wc -c",
                                     KORVANE_BINARY_DIR "/bin/korvane-directory"});
  EXPECT_EQ(outcome.output, "3000000\n");
  EXPECT_EQ(outcome.errors, "korvane-directory: standard output cannot be written: Broken pipe\n");
}

}  // namespace
}  // namespace korvane
