#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <mutex>
#include <thread>

#include "extension/ExtensionUtilities.h"
#include "linux/detail/FileCoordinator.h"
#include "linux/detail/FileManager.h"
#include "linux/detail/PropertyLists.h"
#include "model/ExtensionAccount.h"
#include "model/ExtensionAlias.h"
#include "model/ExtensionGroup.h"
#include "support/ChildProcess.h"
#include "support/PropertyListWriter.h"
#include "support/TemporaryFolder.h"
#include "support/TestPlatform.h"

namespace korvane {
namespace {

using testing::BinaryWriter;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using testing::XMLWriter;

// A coordinator that notes what it is asked for, and fails where it shall.
class WatchedCoordinator : public NSFileCoordinator {
 public:
  explicit WatchedCoordinator(std::shared_ptr<NSFileCoordinator> real) : real_(std::move(real)) {}
  void coordinateWritingItemAtURL(const std::optional<NSURL>& url,
                                  NSFileCoordinatorWritingOptions options,
                                  std::optional<NSError>& error,
                                  const std::function<void(const NSURL&)>& accessor) override {
    calls.push_back((url ? url->absoluteString() : "nothing") + " " +
                    std::to_string(static_cast<unsigned>(options)));
    if (failure) {
      error = failure;
      return;
    }
    real_->coordinateWritingItemAtURL(url, options, error, accessor);
  }
  std::vector<std::string> calls;
  std::optional<NSError> failure;

 private:
  std::shared_ptr<NSFileCoordinator> real_;
};

class Directory : public ::testing::Test {
 protected:
  Directory() : container_(folder_.path("Q7K4M2XW9P.korvane")) {
    const ContainerRoot root{std::optional<std::string>(container_)};
    coordinator_ = std::make_shared<WatchedCoordinator>(std::make_shared<FileCoordinator>(root));
    platform_.services.fileManager =
        std::make_shared<FileManager>(FileManagerOptions{.container = root});
    platform_.services.fileCoordinator = coordinator_;
    platform_.services.propertyLists = std::make_shared<PropertyLists>(root);
    platform_.install();
  }

  // Writes a file of the data folder.
  std::string write(const std::string& name, std::string_view content) {
    return folder_.file("Q7K4M2XW9P.korvane/SharedData/" + name, content);
  }
  std::string path(const std::string& name) const { return container_ + "/SharedData/" + name; }
  std::vector<std::string> log() const { return platform_.log->lines(); }

  testing::TemporaryFolder folder_;
  std::string container_;
  testing::TestPlatform platform_;
  std::shared_ptr<WatchedCoordinator> coordinator_;
};

std::vector<Value> mailsOf(const std::vector<std::shared_ptr<ExtensionAddress>>& contacts) {
  std::vector<Value> mails;
  for (const auto& contact : contacts) mails.push_back(contact->mail());
  return mails;
}

const Value kContacts = List{Dictionary{{"mail", "z@a.example"}, {"rank", 9}},
                             Dictionary{{"mail", "a@a.example"}, {"rank", 1}},
                             Dictionary{{"mail", "m@a.example"}, {"rank", 5}}};
const Value kGroups = List{Dictionary{{"idx", "g2"}, {"name", "Zebras"}, {"addresses", kContacts}},
                           Dictionary{{"idx", "g1"}, {"name", "Ants"}}};

TEST_F(Directory, AccountsInBothForms) {
  const Value accounts = List{
      Dictionary{
          {"mail", "b@b.example"},
          {"name", "Second in the alphabet"},
          {"type", 3},
          {"enabled", true},
          {"aliases", List{Dictionary{{"mail", "x@b.example"}, {"name", "X"}, {"account", "b"}},
                           Dictionary{}}}},
      Dictionary{{"mail", "a@a.example"}, {"enabled", false}, {"type", "12"}}, Dictionary{}};
  for (const std::string& file : {XMLWriter::write(accounts), BinaryWriter::write(accounts)}) {
    write("Accounts.plist", file);
    const auto read = ExtensionUtilities::Accounts();
    ASSERT_EQ(read.size(), 3U);
    EXPECT_EQ(read[0]->mail(), "b@b.example");
    EXPECT_EQ(read[0]->type(), 3);
    EXPECT_TRUE(read[0]->enabled());
    const auto aliases = *read[0]->aliases();
    ASSERT_EQ(aliases.size(), 2U);
    EXPECT_EQ(aliases[0]->mail(), "x@b.example");
    EXPECT_EQ(aliases[0]->account(), "b");
    EXPECT_EQ(aliases[1]->mail(), "No Mail");
    EXPECT_FALSE(read[1]->enabled()) << "not skipped";
    EXPECT_EQ(read[1]->type(), 12);
    EXPECT_EQ(read[2]->mail(), "No Mail");
    EXPECT_THAT(*read[2]->aliases(), IsEmpty());
  }
  EXPECT_THAT(log(), IsEmpty());
  EXPECT_EQ(coordinator_->calls[0], "file://" + path("Accounts.plist") + " 1");
}

TEST_F(Directory, NoAccounts) {
  EXPECT_THAT(ExtensionUtilities::Accounts(), IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(container_)) << "nothing is created";
  for (const char* content : {"", "nonsense", "<plist><dict/></plist>", "<plist><array>"}) {
    write("Accounts.plist", content);
    EXPECT_THAT(ExtensionUtilities::Accounts(), IsEmpty());
  }
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(Directory, BetaEditionsHaveTheirOwnFolder) {
  platform_.services.bundle =
      std::make_shared<testing::FakeBundle>("it.drelk.korvane.beta10.share");
  platform_.install();
  write("Accounts.plist", XMLWriter::write(List{Dictionary{}}));
  EXPECT_THAT(ExtensionUtilities::Accounts(), IsEmpty());
  folder_.file("Q7K4M2XW9P.korvane/SharedDataBeta/Accounts.plist",
               XMLWriter::write(List{Dictionary{}, Dictionary{}}));
  EXPECT_EQ(ExtensionUtilities::Accounts().size(), 2U);
}

TEST_F(Directory, ElementsThatAreNoDictionaries) {
  write("Accounts.plist", XMLWriter::write(List{"text", Dictionary{{"type", List{}}}}));
  const auto accounts = ExtensionUtilities::Accounts();
  ASSERT_EQ(accounts.size(), 2U);
  EXPECT_TRUE(accounts[0]->mail().isAbsent());
  EXPECT_FALSE(accounts[0]->aliases());
  EXPECT_EQ(accounts[1]->mail(), "No Mail");
  EXPECT_FALSE(accounts[1]->aliases());
  write("Contacts/Addresses.plist", XMLWriter::write(List{1, Dictionary{{"mail", 7}}}));
  write("Contacts/Groups.plist",
        BinaryWriter::write(List{List{}, Dictionary{{"addresses", List{"x", Dictionary{}}}}}));
  const auto directory = ExtensionUtilities::AddressesAndGroups();
  ASSERT_EQ(directory.addresses.size(), 2U);
  EXPECT_TRUE(directory.addresses[0]->mail().isAbsent());
  EXPECT_EQ(directory.addresses[1]->mail(), 7);
  ASSERT_EQ(directory.groups.size(), 2U);
  EXPECT_TRUE(directory.groups[0]->name().isAbsent());
  EXPECT_EQ(directory.groups[1]->addresses()->size(), 2U);
  EXPECT_THAT(log(), ElementsAre(MatchesRegex("ExtensionAccount initWithDictonary .+"),
                                 MatchesRegex("ExtensionAccount initWithDictonary .+"),
                                 MatchesRegex("ExtensionAddress initWithDictonary .+"),
                                 MatchesRegex("ExtensionGroup initWithDictonary .+"),
                                 MatchesRegex("ExtensionAddress initWithDictonary .+")));
}

TEST_F(Directory, ContactsAndGroupsInTheFilesOrder) {
  for (const bool binary : {false, true}) {
    const auto form = [&](const Value& v) {
      return binary ? BinaryWriter::write(v) : XMLWriter::write(v);
    };
    write("Contacts/Addresses.plist", form(kContacts));
    write("Contacts/Groups.plist", form(kGroups));
    const auto directory = ExtensionUtilities::AddressesAndGroups();
    EXPECT_THAT(mailsOf(directory.addresses),
                ElementsAre("z@a.example", "a@a.example", "m@a.example"));
    ASSERT_EQ(directory.groups.size(), 2U);
    EXPECT_EQ(directory.groups[0]->prettyprint(), "Zebras (3)");
    EXPECT_THAT(mailsOf(*directory.groups[0]->addresses()),
                ElementsAre("z@a.example", "a@a.example", "m@a.example"));
    EXPECT_EQ(directory.groups[1]->prettyprint(), "Ants");
    EXPECT_EQ(directory.dictionary().objectForKey("addresses").list().size(), 3U);
    EXPECT_EQ(directory.dictionary().objectForKey("groups").list().size(), 2U);
  }
  EXPECT_THAT(log(), IsEmpty());
  EXPECT_EQ(coordinator_->calls[0], "file://" + path("Contacts") + " 1");
}

TEST_F(Directory, OneOfTheFilesIsMissing) {
  write("Contacts/Addresses.plist", XMLWriter::write(kContacts));
  auto directory = ExtensionUtilities::AddressesAndGroups();
  EXPECT_EQ(directory.addresses.size(), 3U);
  EXPECT_THAT(directory.groups, IsEmpty());
  std::filesystem::rename(path("Contacts/Addresses.plist"), path("Contacts/Groups.plist"));
  directory = ExtensionUtilities::AddressesAndGroups();
  EXPECT_THAT(directory.addresses, IsEmpty());
  EXPECT_EQ(directory.groups.size(), 3U);
  write("Contacts/Groups.plist", "<plist><dict/></plist>");
  EXPECT_THAT(ExtensionUtilities::AddressesAndGroups().groups, IsEmpty());
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(Directory, TheContactFolderIsCreated) {
  for (int round = 0; round < 2; ++round) {
    const auto directory = ExtensionUtilities::AddressesAndGroups();
    EXPECT_THAT(directory.addresses, IsEmpty());
    EXPECT_THAT(directory.groups, IsEmpty());
    EXPECT_TRUE(std::filesystem::is_directory(path("Contacts")));
  }
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(Directory, TheContactFolderCannotBeCreated) {
  folder_.file("Q7K4M2XW9P.korvane/SharedData", "a file in its way");
  const auto directory = ExtensionUtilities::AddressesAndGroups();
  EXPECT_THAT(directory.addresses, IsEmpty());
  EXPECT_THAT(directory.groups, IsEmpty());
  ASSERT_EQ(log().size(), 1U);
  EXPECT_THAT(log()[0],
              MatchesRegex("\\[\\*\\*\\*ERROR\\*\\*\\*\\] AddressesAndGroups Error Domain="
                           "NSPOSIXErrorDomain .+"));
}

TEST_F(Directory, APlainFileNamedContacts) {
  write("Contacts", "a file");
  const auto directory = ExtensionUtilities::AddressesAndGroups();
  EXPECT_THAT(directory.addresses, IsEmpty());
  EXPECT_THAT(directory.groups, IsEmpty());
  EXPECT_TRUE(std::filesystem::is_regular_file(path("Contacts"))) << "left as it is";
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(Directory, CoordinationFails) {
  write("Accounts.plist", XMLWriter::write(List{Dictionary{}}));
  write("Contacts/Addresses.plist", XMLWriter::write(kContacts));
  coordinator_->failure = NSError{NSPOSIXErrorDomain, 37, "no room for locks"};
  EXPECT_THAT(ExtensionUtilities::Accounts(), IsEmpty());
  const auto directory = ExtensionUtilities::AddressesAndGroups();
  EXPECT_THAT(directory.addresses, IsEmpty());
  EXPECT_THAT(directory.groups, IsEmpty());
  const std::string error = "Error Domain=NSPOSIXErrorDomain Code=37 \"no room for locks\"";
  EXPECT_THAT(log(), ElementsAre("[***ERROR***] NSFileCoordinator Accounts " + error,
                                 "[***ERROR***] NSFileCoordinator AddressesAndGroups " + error));
}

TEST_F(Directory, WithoutAContainer) {
  platform_.services.fileManager = std::make_shared<FileManager>(
      FileManagerOptions{.container = ContainerRoot{std::optional<std::string>()}});
  platform_.install();
  EXPECT_THAT(ExtensionUtilities::Accounts(), IsEmpty());
  const auto directory = ExtensionUtilities::AddressesAndGroups();
  EXPECT_THAT(directory.addresses, IsEmpty());
  EXPECT_THAT(directory.groups, IsEmpty());
  EXPECT_THAT(coordinator_->calls, ElementsAre("nothing 1", "nothing 1"));
  EXPECT_THAT(log(), ElementsAre(MatchesRegex(".* NSFileCoordinator Accounts Error .*"),
                                 MatchesRegex(".* NSFileCoordinator AddressesAndGroups Error .*")));
}

TEST_F(Directory, NothingBehindALinkIsRead) {
  const std::string secret = folder_.file("secret.plist", XMLWriter::write(kContacts));
  write("Contacts/Groups.plist", XMLWriter::write(kGroups));
  std::filesystem::create_symlink(secret, path("Contacts/Addresses.plist"));
  std::filesystem::create_symlink(secret, path("Accounts.plist"));
  EXPECT_THAT(ExtensionUtilities::Accounts(), IsEmpty());
  const auto directory = ExtensionUtilities::AddressesAndGroups();
  EXPECT_THAT(directory.addresses, IsEmpty());
  EXPECT_EQ(directory.groups.size(), 2U);
}

TEST_F(Directory, EveryCallReadsAfresh) {
  write("Contacts/Addresses.plist", XMLWriter::write(kContacts));
  EXPECT_EQ(ExtensionUtilities::AddressesAndGroups().addresses.size(), 3U);
  write("Contacts/Addresses.plist", XMLWriter::write(List{}));
  EXPECT_THAT(ExtensionUtilities::AddressesAndGroups().addresses, IsEmpty());
}

// The version that all of a directory is of: 0 for a mixture.
std::int64_t versionOf(const ExtensionDirectory& directory, std::size_t contacts) {
  if (directory.addresses.size() != contacts || directory.groups.size() != contacts) return 0;
  const std::int64_t version = directory.addresses[0]->rank();
  for (const auto& contact : directory.addresses) {
    if (contact->rank() != version) return 0;
  }
  for (const auto& group : directory.groups) {
    if (!(group->idx() == version)) return 0;
  }
  return version;
}

// A second process writes both files in place, in small pieces and not at once, over and over.
TEST_F(Directory, EveryLoadSeesOneWholeVersion) {
  constexpr std::size_t kSize = 300;
  constexpr int kLoads = 100;
  constexpr int kVersions = 20;  // that were seen at least: it wrote while this read
  std::filesystem::create_directories(path("Contacts"));
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t writer = ::fork();
  ASSERT_GE(writer, 0);
  if (writer == 0) {
    FileCoordinator coordinator{ContainerRoot{std::optional<std::string>(container_)}};
    for (std::int64_t version = 1;; ++version) {
      const List contacts(kSize, Dictionary{{"rank", version}});
      const List groups(kSize, Dictionary{{"idx", version}});
      const bool binary = version % 2 == 0;
      std::optional<NSError> error;
      coordinator.coordinateWritingItemAtURL(
          NSURL::fileURLWithPath(path("Contacts")), NSFileCoordinatorWritingOptions::forDeleting,
          error, [&](const NSURL&) {
            for (const auto& [name, list] : {std::pair("Contacts/Groups.plist", groups),
                                             std::pair("Contacts/Addresses.plist", contacts)}) {
              const std::string file = binary ? BinaryWriter::write(list) : XMLWriter::write(list);
              std::ofstream stream(path(name), std::ios::binary | std::ios::trunc);
              for (std::size_t i = 0; i < file.size(); i += 1000) {
                stream << file.substr(i, 1000) << std::flush;
              }
            }
          });
      if (error) ::_exit(1);
      if (version == 1 && ::write(ready[1], "r", 1) != 1) ::_exit(1);
    }
  }
  char byte = 0;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  std::int64_t first = 0;
  std::int64_t latest = 0;
  for (int i = 0; i < kLoads || latest < first + kVersions; ++i) {
    const std::int64_t version = versionOf(ExtensionUtilities::AddressesAndGroups(), kSize);
    ASSERT_GT(version, 0) << "a mixture of versions, load " << i;
    ASSERT_GE(version, latest) << "and never an older one again";
    latest = version;
    if (i == 0) first = version;
  }
  ::kill(writer, SIGKILL);
  int status = 0;
  ::waitpid(writer, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status)) << "the writer was at work until the end";
  ::close(ready[0]);
  ::close(ready[1]);
}

TEST_F(Directory, ThreadsLoadAtTheSameTime) {
  write("Contacts/Addresses.plist", XMLWriter::write(kContacts));
  write("Contacts/Groups.plist", BinaryWriter::write(kGroups));
  // The watching is not made for threads.
  platform_.services.fileCoordinator =
      std::make_shared<FileCoordinator>(ContainerRoot{std::optional<std::string>(container_)});
  platform_.install();
  std::vector<std::thread> threads;
  std::atomic<int> right = 0;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int k = 0; k < 20; ++k) {
        const auto directory = ExtensionUtilities::AddressesAndGroups();
        if (directory.addresses.size() == 3 && directory.groups.size() == 2) ++right;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, 80);
}

}  // namespace
}  // namespace korvane
