#include "linux/detail/FileTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

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

}  // namespace
}  // namespace korvane
