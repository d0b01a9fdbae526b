#include "linux/detail/OpenWithoutLinks.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

namespace fs = std::filesystem;

TEST(OpenWithoutLinks, LinksAndWaysOutAreRefused) {
  const testing::TemporaryFolder folder;
  const fs::path root = fs::canonical(folder.path()) / "root";
  fs::create_directories(root / "a/b");
  std::ofstream(root / "a/b/file") << "x";
  std::ofstream(root.parent_path() / "outside") << "x";
  fs::create_symlink("a", root / "link");
  fs::create_symlink("file", root / "a/b/link");
  const FileDescriptor open(::open(root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  ASSERT_TRUE(open);

  struct Case {
    std::string path;
    int anywhere;  // errno; 0 where it is opened
    int beneath;
  };
  const Case cases[] = {
      {"a/b/file", 0, 0},
      {"a/b", 0, 0},
      {"a/../a/b/file", 0, 0},
      {"link/b/file", ELOOP, ELOOP},
      {"a/b/link", ELOOP, ELOOP},
      {"../outside", 0, EXDEV},
      {root / "a/b/file", 0, EXDEV},
      {"/proc/self/exe", ELOOP, EXDEV},
      {"a/none", ENOENT, ENOENT},
      {"a/b/file/c", ENOTDIR, ENOTDIR},
      {"", ENOENT, ENOENT},
  };
  for (const Case& c : cases) {
    for (const auto& [reach, expected] :
         {std::pair{PathReach::anywhere, c.anywhere}, std::pair{PathReach::beneath, c.beneath}}) {
      errno = 0;
      const FileDescriptor found = openWithoutLinks(open.get(), c.path, O_PATH, reach);
      EXPECT_EQ(found ? 0 : errno, expected) << c.path;
      if (found) EXPECT_EQ(::fcntl(found.get(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    }
  }
}

TEST(OpenWithoutLinks, FlagsAreThoseOfOpen) {
  const testing::TemporaryFolder folder;
  const std::string path = fs::canonical(folder.path()) / "file";
  std::ofstream(path) << "x";
  EXPECT_FALSE(openWithoutLinks(AT_FDCWD, path, O_PATH | O_DIRECTORY));
  EXPECT_EQ(errno, ENOTDIR);
  const FileDescriptor file = openWithoutLinks(AT_FDCWD, path, O_RDONLY);
  char byte = 0;
  EXPECT_EQ(::read(file.get(), &byte, 1), 1);
  EXPECT_EQ(byte, 'x');
}

}  // namespace
}  // namespace korvane
