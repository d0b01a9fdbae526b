// The staging folder on real files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <new>
#include <thread>

#include "extension/ExtensionUtilities.h"
#include "linux/detail/FileCoordinator.h"
#include "linux/detail/FileManager.h"
#include "support/FaultyFiles.h"
#include "support/TemporaryFolder.h"
#include "support/TestPlatform.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::modeOf;
using ::testing::StartsWith;
using testing::TemporaryFolder;

NSData bytes(std::string_view text) { return {text.begin(), text.end()}; }

class StagingTest : public ::testing::Test {
 protected:
  StagingTest() { useContainer(container); }

  void useContainer(const std::optional<std::string>& path) {
    const ContainerRoot root(path);
    files = std::make_shared<testing::FaultyFiles>(
        std::make_shared<FileManager>(FileManagerOptions{root}));
    platform.services.fileManager = files;
    platform.services.fileCoordinator = std::make_shared<FileCoordinator>(root);
    platform.install();
  }
  /// Stages and gives the names below the staging folder.
  std::vector<std::string> share(const std::vector<std::string>& paths) {
    return names(ExtensionUtilities::ShareFiles("Share", paths));
  }
  std::vector<std::string> shareDatas(const std::vector<std::optional<NSData>>& datas) {
    return names(ExtensionUtilities::ShareDatas("Share", datas));
  }
  std::vector<std::string> names(const List& paths) const {
    std::vector<std::string> result;
    for (const Value& path : paths) {
      const std::string text(path.text());
      EXPECT_THAT(text, StartsWith(staging + "/"));
      EXPECT_TRUE(fs::exists(text)) << text;
      result.push_back(text.substr(staging.size() + 1));
    }
    return result;
  }
  std::vector<std::string> staged() const {
    std::vector<std::string> result;
    for (const auto& entry : fs::directory_iterator(staging)) {
      result.push_back(entry.path().filename().string());
    }
    std::ranges::sort(result);
    return result;
  }
  std::vector<std::string> lines() const { return platform.log->lines(); }

  TemporaryFolder folder;
  testing::TestPlatform platform;
  std::shared_ptr<testing::FaultyFiles> files;
  std::string container = folder.path("data/Q7K4M2XW9P.korvane");
  std::string staging = container + "/SharedData/Share";
};

// Emptying.

TEST_F(StagingTest, TheFirstShareLogsItsFailedRemovalTwice) {
  ExtensionUtilities::ShareInit("Share");
  const std::string error =
      "Error Domain=NSPOSIXErrorDomain Code=2 \"" + container + ": No such file or directory\"";
  EXPECT_THAT(lines(), ElementsAre("[***ERROR***] shareInit delete " + error,
                                   "[***ERROR***] shareInit create " + error));
  EXPECT_TRUE(fs::is_directory(staging));
  for (const std::string& path : {container, container + "/SharedData", staging}) {
    EXPECT_EQ(modeOf(path), 0700U) << path;
  }
}

TEST_F(StagingTest, LaterSharesEmptyTheFolderSilently) {
  ExtensionUtilities::ShareInit("Share");
  platform.log->clear();
  folder.file("data/Q7K4M2XW9P.korvane/SharedData/Share/old/deep/file", "x");
  folder.file("data/Q7K4M2XW9P.korvane/SharedData/Accounts.plist", "kept");
  ExtensionUtilities::ShareInit("Share");
  EXPECT_THAT(staged(), IsEmpty());
  EXPECT_THAT(lines(), IsEmpty());
  EXPECT_EQ(contentOf(container + "/SharedData/Accounts.plist"), "kept");
}

TEST_F(StagingTest, AFailedCreationIsLoggedOnce) {
  ExtensionUtilities::ShareInit("Share");
  platform.log->clear();
  files->fault = [](std::string_view operation, std::string_view) {
    return operation == "create" ? std::optional(NSError{"D", 5, "no"}) : std::nullopt;
  };
  ExtensionUtilities::ShareInit("Share");
  EXPECT_THAT(lines(), ElementsAre("[***ERROR***] shareInit create Error Domain=D Code=5 \"no\""));
}

TEST_F(StagingTest, AFileInTheFoldersPlaceGivesWayToIt) {
  folder.file("data/Q7K4M2XW9P.korvane/SharedData/Share", "x");
  ExtensionUtilities::ShareInit("Share");
  EXPECT_THAT(staged(), IsEmpty());
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(StagingTest, AFileInTheDataFoldersPlaceStays) {
  const std::string data = folder.file("data/Q7K4M2XW9P.korvane/SharedData", "kept");
  ExtensionUtilities::ShareInit("Share");
  EXPECT_THAT(lines(), ElementsAre(StartsWith("[***ERROR***] shareInit delete "),
                                   StartsWith("[***ERROR***] shareInit create ")));
  EXPECT_EQ(contentOf(data), "kept");
}

TEST_F(StagingTest, TheErrorOfTheCreationTakesThePlaceOfThatOfTheRemoval) {
  files->fault = [](std::string_view operation, std::string_view) {
    return std::optional(NSError{"D", operation == "remove" ? 1 : 2, "no"});
  };
  ExtensionUtilities::ShareInit("Share");
  EXPECT_THAT(lines(), ElementsAre("[***ERROR***] shareInit delete Error Domain=D Code=1 \"no\"",
                                   "[***ERROR***] shareInit create Error Domain=D Code=2 \"no\""));
}

TEST_F(StagingTest, AnotherServicesFolderStays) {
  folder.file("data/Q7K4M2XW9P.korvane/SharedData/Share/a", "kept");
  ExtensionUtilities::ShareInit("Other %41");
  EXPECT_THAT(staged(), ElementsAre("a"));
  EXPECT_TRUE(fs::is_directory(container + "/SharedData/Other %41"));
}

TEST_F(StagingTest, ALinkInTheContainerLeadsNowhere) {
  const std::string precious = folder.file("Documents/Share/precious", "precious");
  folder.folder("data/Q7K4M2XW9P.korvane");
  fs::create_directory_symlink(folder.path("Documents"), container + "/SharedData");
  ExtensionUtilities::ShareInit("Share");
  ASSERT_EQ(lines().size(), 2U);
  EXPECT_THAT(lines()[0], HasSubstr("a link inside the container is not followed"));
  EXPECT_THAT(share({folder.file("a.txt", "x")}), IsEmpty());
  EXPECT_THAT(shareDatas({bytes("x")}), IsEmpty());
  EXPECT_EQ(contentOf(precious), "precious");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.path("Documents/Share")), {}), 1);

  // A link in the staging folder's own place is just replaced.
  fs::remove(container + "/SharedData");
  folder.folder("data/Q7K4M2XW9P.korvane/SharedData");
  fs::create_directory_symlink(folder.path("Documents"), staging);
  ExtensionUtilities::ShareInit("Share");
  EXPECT_FALSE(fs::is_symlink(staging));
  EXPECT_EQ(contentOf(precious), "precious");
}

TEST_F(StagingTest, WithoutAContainerEverythingFailsWithItsLine) {
  useContainer(std::nullopt);
  ExtensionUtilities::ShareInit("Share");
  EXPECT_THAT(ExtensionUtilities::ShareFiles("Share", {folder.file("a")}), IsEmpty());
  EXPECT_THAT(ExtensionUtilities::ShareDatas("Share", {bytes("x")}), IsEmpty());
  EXPECT_THAT(lines(), ElementsAre(StartsWith("[***ERROR***] shareInit Error Domain="),
                                   StartsWith("[***ERROR***] Error shareFiles Error Domain="),
                                   StartsWith("[***ERROR***] Error shareDatas Error Domain=")));
}

TEST_F(StagingTest, InAContainerWhosePathIsNotUTF8NothingIsStaged) {
  useContainer(folder.path("caf\xE9/C"));
  ExtensionUtilities::ShareInit("Share");
  EXPECT_THAT(ExtensionUtilities::ShareFiles("Share", {folder.file("a")}), IsEmpty());
  EXPECT_THAT(ExtensionUtilities::ShareDatas("Share", {bytes("x")}), IsEmpty());
  EXPECT_EQ(lines().size(), 3U);
  EXPECT_FALSE(fs::exists(folder.path("caf\xE9")));
}

TEST_F(StagingTest, AServiceWithoutANameOfItsOwnTouchesNothing) {
  const std::string kept = folder.file("data/Q7K4M2XW9P.korvane/SharedData/Accounts.plist", "kept");
  for (const char* service : {"", ".", "..", "/", "../..", "Share/..", "Share/../.."}) {
    ExtensionUtilities::ShareInit(service);
    EXPECT_THAT(ExtensionUtilities::ShareFiles(service, {kept}), IsEmpty()) << service;
  }
  EXPECT_EQ(contentOf(kept), "kept");
  EXPECT_EQ(lines().size(), 14U);
}

TEST_F(StagingTest, BetaEditionsHaveTheirOwnFolder) {
  platform.services.bundle = std::make_shared<testing::FakeBundle>("it.drelk.korvane.beta8.share");
  platform.install();
  ExtensionUtilities::ShareInit("Share");
  EXPECT_TRUE(fs::is_directory(container + "/SharedDataBeta/Share"));
  EXPECT_FALSE(fs::exists(container + "/SharedData"));
}

// Files.

class StagingFilesTest : public StagingTest {
 protected:
  StagingFilesTest() {
    ExtensionUtilities::ShareInit("Share");
    platform.log->clear();
  }
};

TEST_F(StagingFilesTest, CopiesUnderFreeNames) {
  EXPECT_THAT(
      share({folder.file("a/report.pdf", "1"), folder.file("b/report.pdf", "2"),
             folder.file("notes", "3"), folder.file("c/notes", "4"), folder.file("a.tar.gz", "5"),
             folder.file("c/a.tar.gz", "6")}),
      ElementsAre("report.pdf", "report_1.pdf", "notes", "notes_1", "a.tar.gz", "a.tar_1.gz"));
  EXPECT_THAT(share({folder.path("a/report.pdf")}), ElementsAre("report_2.pdf"));
  EXPECT_EQ(contentOf(staging + "/report_1.pdf"), "2");
  for (const std::string& name : staged()) EXPECT_EQ(modeOf(staging + "/" + name), 0600U);
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(StagingFilesTest, NothingGivesNothing) {
  EXPECT_THAT(share({}), IsEmpty());
  EXPECT_THAT(shareDatas({}), IsEmpty());
  EXPECT_THAT(staged(), IsEmpty());
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(StagingFilesTest, AFileThatCannotBeCopiedIsLoggedAndLeftOut) {
  ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
  fs::create_symlink("nowhere", folder.path("dangling"));
  EXPECT_THAT(share({folder.file("a", "1"), folder.path("missing"), folder.path("fifo"),
                     "/dev/zero", folder.path("dangling"), "", "/", folder.file("z", "2")}),
              ElementsAre("a", "z"));
  EXPECT_THAT(staged(), ElementsAre("a", "z"));
  const std::string line = "[***ERROR***] Error writing file shareFiles Error Domain=";
  EXPECT_THAT(lines(),
              ElementsAre(line + "NSPOSIXErrorDomain Code=2 \"" + folder.path("missing") +
                              ": No such file or directory\"",
                          line + "NSPOSIXErrorDomain Code=95 \"" + folder.path("fifo") +
                              ": neither a file nor a folder\"",
                          StartsWith(line), StartsWith(line), StartsWith(line), StartsWith(line)));
}

TEST_F(StagingFilesTest, FoldersAreStagedWithAllTheyHold) {
  folder.file("album/one.jpg", "1");
  folder.file("album/more/two.jpg", "2");
  fs::create_symlink("more/two.jpg", folder.path("album/link.jpg"));
  EXPECT_THAT(share({folder.path("album"), folder.path("album/"), folder.path("album/.")}),
              ElementsAre("album", "album_1", "album_2"));
  EXPECT_EQ(contentOf(staging + "/album_2/link.jpg"), "2");
  EXPECT_FALSE(fs::is_symlink(staging + "/album/link.jpg"));
  EXPECT_EQ(modeOf(staging + "/album/more"), 0700U);
  // A staged file can be shared again; the staging folder does not go into itself.
  EXPECT_THAT(share({staging + "/album/one.jpg", staging, container}), ElementsAre("one.jpg"));
}

TEST_F(StagingFilesTest, NamesComeOutReadableAndHarmless) {
  const std::pair<std::string, std::string> rows[] = {
      {"caf\xE9.txt", "caf\xC3\xA9.txt"},
      {"\x80uro\x99", "\xE2\x82\xACuro\xE2\x84\xA2"},
      {"\x81\xFF", "\xEF\xBF\xBD\xC3\xBF"},
      {"\xC3\xA9t\xC3\xA9", "\xC3\xA9t\xC3\xA9"},
      {"--", "--"},
      {"-rf .txt", "-rf .txt"},
      {"a\nb\x01.c", "a\nb\x01.c"},
      {"a,\"b'=%41&c;d#?.e", "a,\"b'=%41&c;d#?.e"},
      {"...", ".._1"},  // no extension after the last point, and ".." is there
      {std::string(255, 'n'), std::string(255, 'n')},
      {std::string(251, 'n') + ".pdf", std::string(251, 'n') + ".pdf"},
  };
  for (const auto& [name, want] : rows) {
    EXPECT_THAT(share({folder.file("names/" + name, name)}), ElementsAre(want));
    EXPECT_EQ(contentOf(staging + "/" + want), name);
  }
  // Longer once it is UTF-8.
  EXPECT_THAT(share({folder.file("names/" + std::string(251, '\xE9') + ".pdf", "x")}),
              ElementsAre(::testing::SizeIs(254)));
  EXPECT_THAT(share({folder.path("names/" + std::string(255, 'n'))}),
              ElementsAre(std::string(253, 'n') + "_1"));
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(StagingFilesTest, ARaisedExceptionEndsTheLoopAlone) {
  files->fault = [&](std::string_view, std::string_view path) -> std::optional<NSError> {
    if (path.ends_with("raise")) throw NSException(NSInvalidArgumentException, "the reason");
    return std::nullopt;
  };
  EXPECT_THAT(share({folder.file("a"), folder.file("raise"), folder.file("z")}), ElementsAre("a"));
  EXPECT_THAT(lines(), ElementsAre("[***ERROR***] Exception shareFiles the reason"));
  files->fault = [](std::string_view, std::string_view path) -> std::optional<NSError> {
    if (path.ends_with("_1.png")) throw NSException(NSInvalidArgumentException, "the reason");
    return std::nullopt;
  };
  EXPECT_THAT(shareDatas({bytes("1"), bytes("2"), bytes("3")}), ElementsAre("image.png"));
  EXPECT_EQ(lines().back(), "[***ERROR***] Exception shareDatas the reason");
}

TEST_F(StagingFilesTest, OtherExceptionsPassAndEndTheAccess) {
  files->fault = [](std::string_view, std::string_view) -> std::optional<NSError> {
    throw std::bad_alloc();
  };
  const std::string path = folder.file("a");
  EXPECT_THROW(share({path}), std::bad_alloc);
  EXPECT_THROW(shareDatas({bytes("x")}), std::bad_alloc);
  EXPECT_THROW(ExtensionUtilities::ShareInit("Share"), std::bad_alloc);
  files->fault = nullptr;
  EXPECT_THAT(share({path}), ElementsAre("a"));
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(StagingFilesTest, AnyOneFailingCopyLeavesTheOthers) {
  std::vector<std::string> paths;
  for (int i = 0; i < 6; ++i) paths.push_back(folder.file("f" + std::to_string(i), "x"));
  for (int bad = 0; bad < 6; ++bad) {
    ExtensionUtilities::ShareInit("Share");
    platform.log->clear();
    int call = 0;
    files->fault = [&](std::string_view, std::string_view) {
      return call++ == bad ? std::optional(NSError::withErrno(EIO, "disk")) : std::nullopt;
    };
    EXPECT_EQ(share(paths).size(), 5U);
    files->fault = nullptr;
    EXPECT_EQ(staged().size(), 5U);
    EXPECT_EQ(lines().size(), 1U);
  }
}

// Data.

TEST_F(StagingFilesTest, ImagesAreNumbered) {
  EXPECT_THAT(shareDatas({bytes("1"), bytes("")}), ElementsAre("image.png", "image_1.png"));
  EXPECT_THAT(shareDatas({bytes("3")}), ElementsAre("image_2.png"));
  EXPECT_EQ(contentOf(staging + "/image.png"), "1");
  EXPECT_EQ(contentOf(staging + "/image_1.png"), "");
  EXPECT_EQ(modeOf(staging + "/image_2.png"), 0600U);
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(StagingFilesTest, AnAbsentImageIsLoggedAndLeftOut) {
  EXPECT_THAT(shareDatas({bytes("1"), std::nullopt, bytes("2")}),
              ElementsAre("image.png", "image_1.png"));
  EXPECT_THAT(lines(), ElementsAre("[***ERROR***] Error writing file shareDatas Error "
                                   "Domain=NSCocoaErrorDomain Code=512 "
                                   "\"There is no image to write\""));
}

TEST_F(StagingFilesTest, WithoutAStagingFolderEachFileIsLogged) {
  fs::remove_all(staging);
  EXPECT_THAT(share({folder.file("a"), folder.file("b")}), IsEmpty());
  EXPECT_THAT(shareDatas({bytes("x")}), IsEmpty());
  EXPECT_EQ(lines().size(), 3U);
  EXPECT_FALSE(fs::exists(staging));
}

// At the same time.

TEST_F(StagingFilesTest, ThreadsLoseNothing) {
  const std::string path = folder.file("same.txt", "same");
  std::vector<std::thread> threads;
  std::vector<List> results(8);
  for (std::size_t t = 0; t < results.size(); ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 10; ++i) {
        const List paths = t % 2
                               ? ExtensionUtilities::ShareFiles("Share", {path, path})
                               : ExtensionUtilities::ShareDatas("Share", {bytes("i"), bytes("j")});
        results[t].insert(results[t].end(), paths.begin(), paths.end());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::vector<std::string> all;
  for (const List& result : results) {
    for (const Value& value : result) all.emplace_back(value.text());
  }
  std::ranges::sort(all);
  EXPECT_TRUE(std::ranges::adjacent_find(all) == all.end());
  EXPECT_EQ(all.size(), 160U);
  EXPECT_EQ(staged().size(), 160U);
  EXPECT_THAT(lines(), IsEmpty());
}

}  // namespace
}  // namespace korvane
