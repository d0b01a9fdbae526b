#include "linux/detail/FileTree.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "support/TemporaryFolder.h"

namespace korvane {
namespace {

// The rest is tried through the file manager, which is all that uses it.
TEST(FileFailureTest, TellsWhatFailedAndWhere) {
  const NSError error = FileFailure{ENOSPC, "/full/disk"}.error();
  EXPECT_THAT(error.localizedDescription, ::testing::HasSubstr("/full/disk"));
  EXPECT_THAT(error.localizedDescription,
              ::testing::HasSubstr(NSError::withErrno(ENOSPC).localizedDescription));
  EXPECT_EQ(error.code, NSError::withErrno(ENOSPC).code);
}

TEST(FileFailureTest, AnOwnTextTakesThePlaceOfTheSystems) {
  const NSError error = FileFailure{EINVAL, "/a/b", "it changed while it was copied"}.error();
  EXPECT_THAT(error.localizedDescription, ::testing::HasSubstr("it changed while it was copied"));
}

TEST(RemovalTest, ARemovalIsWaitedFor) {
  const testing::TemporaryFolder folder;
  for (int i = 0; i < 3000; ++i) folder.file("old/" + std::to_string(i));
  const FileDescriptor parent(::open(folder.path().c_str(), O_RDONLY | O_DIRECTORY));
  std::thread remover([&] {
    removeEntryAtOnce({FileDescriptor(::dup(parent.get())), "old", folder.path("old")});
  });
  while (std::filesystem::exists(folder.path("old"))) std::this_thread::yield();
  awaitRemovals(std::chrono::minutes(5));
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  remover.join();
  awaitRemovals(std::chrono::milliseconds(0));  // nothing is going on
}

}  // namespace
}  // namespace korvane
