#include "compose/StagedFiles.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstdlib>

#include "linux/LinuxPlatform.h"
#include "platform/Platform.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class Staged : public ::testing::Test {
 protected:
  explicit Staged(const std::string& edition = "it.drelk.korvane",
                  const char* folder = "SharedData")
      : data(std::string("data/Q7K4M2XW9P.korvane/") + folder) {
    setenv("XDG_DATA_HOME", files.folder("data").c_str(), 1);
    Platform::install(linuxPlatform({.bundleIdentifier = edition}));
    staging = files.folder(data + "/Share");
    files.folder("out");
  }
  ~Staged() override { Platform::install(Platform()); }

  std::string stage(const std::string& name, std::string_view content = "x") const {
    return files.file(data + "/Share/" + name, content);
  }
  std::vector<std::string> take(const std::vector<std::string>& paths) {
    std::vector<std::string> names;
    taken = takeStagedFiles(paths, files.path("out"), leftOut);
    for (const TakenFile& file : taken) names.push_back(file.name);
    return names;
  }

  testing::TemporaryFolder files;
  std::string data;
  std::string staging;
  LeftOutList leftOut;
  std::vector<TakenFile> taken;
};

TEST_F(Staged, NothingToTake) {
  EXPECT_THAT(take({}), IsEmpty());
  EXPECT_THAT(leftOut, IsEmpty());
}

TEST_F(Staged, FilesAreCopiedAndStayWhereTheyWere) {
  const std::string large(300'000, 'l');
  const auto a = stage("a, b 'x' 100%25.txt", "one");
  const auto b = stage("sub/b.bin", large);
  EXPECT_THAT(take({a, b}), ElementsAre("a, b 'x' 100%25.txt", "b.bin"));
  EXPECT_EQ(contentOf(taken[0].path), "one");
  EXPECT_EQ(contentOf(taken[1].path), large);
  EXPECT_EQ(taken[1].size, large.size());
  EXPECT_EQ(contentOf(a), "one");
  struct stat status = {};
  ASSERT_EQ(::stat(taken[0].path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  EXPECT_THAT(leftOut, IsEmpty());
}

TEST_F(Staged, EqualNamesGetNumbers) {
  EXPECT_THAT(take({stage("1/a.tar.gz"), stage("2/a.tar.gz"), stage("1/n"), stage("2/n"),
                    stage("a\nb"), stage("a\tb")}),
              ElementsAre("a.tar.gz", "a.tar_1.gz", "n", "n_1", "a_b", "a_b_1"));
}

TEST_F(Staged, NothingFromOutside) {
  const auto inside = stage("inside");
  const auto secret = files.file("secret", "secret");
  files.file(data + "/Accounts.plist", "secret");
  fs::create_symlink(secret, staging + "/link");
  fs::create_directory_symlink(files.path(), staging + "/folder-link");
  fs::create_symlink("inside", staging + "/link-inside");
  const std::vector<std::string> outside = {secret,
                                            "/etc/passwd",
                                            staging,
                                            staging + "/",
                                            staging + "/../Accounts.plist",
                                            staging + "/..",
                                            staging + "/link",
                                            staging + "/link-inside",
                                            staging + "/folder-link/secret",
                                            staging + "/none",
                                            staging + "/inside/more",
                                            "inside",
                                            "",
                                            "file://" + inside,
                                            staging + "x/inside"};
  EXPECT_THAT(take(outside), IsEmpty());
  ASSERT_THAT(leftOut, SizeIs(outside.size()));
  for (std::size_t i = 0; i < outside.size(); ++i) {
    EXPECT_EQ(leftOut[i].item, outside[i]);
    EXPECT_THAT(leftOut[i].reason, HasSubstr("is not attached: "));
  }
  // What a path says on its way does not matter, only where it leads.
  EXPECT_THAT(take({staging + "/./x/../inside"}), ElementsAre("inside"));
}

TEST_F(Staged, WhatIsNeitherFileNorFolderIsNotOpened) {
  ASSERT_EQ(::mkfifo((staging + "/fifo").c_str(), 0600), 0);
  EXPECT_THAT(take({staging + "/fifo"}), IsEmpty());
  ASSERT_THAT(leftOut, SizeIs(1));
  EXPECT_THAT(leftOut[0].reason, HasSubstr("neither a file nor a folder"));
}

TEST_F(Staged, AFileThatCannotBeReadIsLeftOut) {
  const auto closed = stage("closed");
  fs::permissions(closed, fs::perms::none);
  fs::permissions(files.path(), fs::perms::all);
  for (const char* folder : {"data", "data/Q7K4M2XW9P.korvane", "out"}) {
    fs::permissions(files.path(folder), fs::perms::all);
  }
  fs::permissions(files.path(data), fs::perms::all);
  fs::permissions(staging, fs::perms::all);
  EXPECT_EQ(testing::inChildAsOrdinaryUser([&] {
              return take({closed}).empty() && leftOut.size() == 1 &&
                     fs::is_empty(files.path("out"));
            }),
            0);
}

TEST_F(Staged, AFolderBecomesAZipFile) {
  stage("holiday.2026/a.txt");
  stage("holiday.2026.zip");
  EXPECT_THAT(take({staging + "/holiday.2026.zip", staging + "/holiday.2026/"}),
              ElementsAre("holiday.2026.zip", "holiday.2026_1.zip"));
  EXPECT_TRUE(contentOf(taken[1].path).starts_with("PK"));
  EXPECT_EQ(taken[1].size, fs::file_size(taken[1].path));
}

TEST_F(Staged, AFolderOfDataBehindALinkIsNotFollowed) {
  const auto file = stage("a");
  fs::rename(staging, files.path("elsewhere"));
  fs::create_directory_symlink(files.path("elsewhere"), staging);
  EXPECT_THAT(take({file}), IsEmpty());
  EXPECT_THAT(leftOut, SizeIs(1));
}

class BetaStaged : public Staged {
 protected:
  BetaStaged() : Staged("it.drelk.korvane.beta8", "SharedDataBeta") {}
};

TEST_F(BetaStaged, AnotherEditionHasAnotherFolder) {
  EXPECT_THAT(take({stage("a")}), ElementsAre("a"));
  const auto regular = files.file("data/Q7K4M2XW9P.korvane/SharedData/Share/b");
  EXPECT_THAT(take({regular}), IsEmpty());
}

}  // namespace
}  // namespace korvane
