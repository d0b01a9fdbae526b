#include "compose/FolderZip.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <clocale>
#include <map>

#include "linux/detail/FileDescriptor.h"
#include "linux/detail/FileTree.h"
#include "platform/NSString.h"
#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

class Zipped : public ::testing::Test {
 protected:
  void zip(const std::string& folder, const std::string& name) {
    const FileDescriptor source(::open(folder.c_str(), O_RDONLY | O_DIRECTORY));
    const FileDescriptor target(
        ::open(files.path("out.zip").c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600));
    zipFolder(source.get(), name, target.get(), leftOut);
  }

  /// The entries' names and contents.
  std::map<std::string, std::string> entries() const {
    std::map<std::string, std::string> found;
    // Reading needs a locale in which the names can be said; writing must not.
    const std::string before = std::setlocale(LC_ALL, nullptr);
    EXPECT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
    archive* const reader = archive_read_new();
    archive_read_support_format_zip(reader);
    EXPECT_EQ(archive_read_open_filename(reader, files.path("out.zip").c_str(), 65536), ARCHIVE_OK);
    archive_entry* entry = nullptr;
    while (archive_read_next_header(reader, &entry) == ARCHIVE_OK) {
      std::string content;
      char buffer[65536];
      for (la_ssize_t got = 0; (got = archive_read_data(reader, buffer, sizeof buffer)) > 0;) {
        content.append(buffer, static_cast<std::size_t>(got));
      }
      const char* name = archive_entry_pathname_utf8(entry);
      found[name ? name : "unreadable"] = content;
    }
    archive_read_free(reader);
    std::setlocale(LC_ALL, before.c_str());
    return found;
  }

  testing::TemporaryFolder files;
  LeftOutList leftOut;
};

TEST_F(Zipped, AnEmptyFolder) {
  zip(files.folder("in"), "name");
  EXPECT_THAT(entries(), ElementsAre(Pair("name/", "")));
}

TEST_F(Zipped, FilesAndFolders) {
  std::string large;
  for (int i = 0; i < 100'000; ++i) large += std::to_string(i);
  files.file("in/a.txt", "one");
  files.file("in/sub/deep/b.bin", large);
  files.file("in/empty");
  files.folder("in/nothing");
  zip(files.path("in"), "gr\u00fc\u00df");
  EXPECT_THAT(entries(),
              ElementsAre(Pair("gr\u00fc\u00df/", ""), Pair("gr\u00fc\u00df/a.txt", "one"),
                          Pair("gr\u00fc\u00df/empty", ""), Pair("gr\u00fc\u00df/nothing/", ""),
                          Pair("gr\u00fc\u00df/sub/", ""), Pair("gr\u00fc\u00df/sub/deep/", ""),
                          Pair("gr\u00fc\u00df/sub/deep/b.bin", large)));
  EXPECT_THAT(leftOut, IsEmpty());
}

TEST_F(Zipped, NamesAreMadeFit) {
  for (const char* name : {"caf\xe9.txt", "caf\xe8.txt", "a\nb", "a_b", "\xe6\x96\x87.txt"}) {
    files.file(std::string("in/") + name, name);
  }
  zip(files.path("in"), "in");
  const auto found = entries();
  EXPECT_THAT(found, SizeIs(6));
  for (const auto& [name, content] : found) EXPECT_TRUE(isUTF8(name));
  EXPECT_TRUE(found.contains("in/caf\uFFFD.txt"));
  EXPECT_TRUE(found.contains("in/caf\uFFFD.txt_1"));
  EXPECT_TRUE(found.contains("in/a_b_1"));
  EXPECT_TRUE(found.contains("in/\u6587.txt"));
}

TEST_F(Zipped, LinksAndSpecialFilesAreLeftOut) {
  files.file("in/a");
  fs::create_symlink("/etc/passwd", files.path("in/link"));
  fs::create_directory_symlink("/etc", files.path("in/folder-link"));
  ASSERT_EQ(::mkfifo(files.path("in/fifo").c_str(), 0600), 0);
  zip(files.path("in"), "in");
  EXPECT_THAT(entries(), ElementsAre(Pair("in/", ""), Pair("in/a", "")));
  EXPECT_THAT(leftOut,
              ElementsAre(LeftOut{"in/fifo", "is not attached: it is neither a file nor a folder"},
                          LeftOut{"in/folder-link", "is not attached: it is a link"},
                          LeftOut{"in/link", "is not attached: it is a link"}));
}

TEST_F(Zipped, OfManyThatAreLeftOutTheFirstAreNamed) {
  files.folder("in");
  for (int i = 0; i < 30; ++i) {
    fs::create_symlink("/etc/passwd", files.path("in/link" + std::to_string(i)));
  }
  zip(files.path("in"), "in");
  ASSERT_THAT(leftOut, SizeIs(21));
  EXPECT_EQ(leftOut.back(), (LeftOut{"in", "lacks 10 more for such reasons"}));
}

TEST_F(Zipped, WhatLiesTooDeepIsLeftOut) {
  std::string path = "in";
  for (int i = 0; i < 205; ++i) path += "/d";
  files.file(path + "/a");
  zip(files.path("in"), "in");
  EXPECT_THAT(leftOut, SizeIs(1));
}

TEST_F(Zipped, AFileThatCannotBeWrittenIsAnError) {
  files.file("in/a", std::string(100'000, 'a'));
  const FileDescriptor source(::open(files.path("in").c_str(), O_RDONLY | O_DIRECTORY));
  const FileDescriptor full(::open("/dev/full", O_RDWR));
  EXPECT_THROW(zipFolder(source.get(), "in", full.get(), leftOut), FileFailure);
}

}  // namespace
}  // namespace korvane
