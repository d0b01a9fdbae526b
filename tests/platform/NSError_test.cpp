#include "platform/NSError.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace korvane {
namespace {

TEST(NSError, DescribesItselfAsLogLinesShowIt) {
  EXPECT_EQ((NSError{NSCocoaErrorDomain, NSUserCancelledError, "Cancelled"}).description(),
            "Error Domain=NSCocoaErrorDomain Code=3072 \"Cancelled\"");
  EXPECT_EQ((NSError{NSCocoaErrorDomain, NSUserCancelledError, ""}).description(),
            "Error Domain=NSCocoaErrorDomain Code=3072 (null)");
  EXPECT_EQ((NSError{"", -1, "x"}).description(), "Error Domain= Code=-1 \"x\"");
}

TEST(NSError, SpeaksOfErrnoValues) {
  const NSError missing = NSError::withErrno(ENOENT);
  EXPECT_EQ(missing.domain, NSPOSIXErrorDomain);
  EXPECT_EQ(missing.code, ENOENT);
  EXPECT_EQ(missing.localizedDescription, "No such file or directory");
  EXPECT_EQ(NSError::withErrno(EACCES, "/a b").localizedDescription, "/a b: Permission denied");
  EXPECT_EQ(NSError::withErrno(ENOENT).description(),
            "Error Domain=NSPOSIXErrorDomain Code=2 \"No such file or directory\"");
  EXPECT_FALSE(NSError::withErrno(99999).localizedDescription.empty());
}

TEST(NSError, IsEqualWhenAllOfItIs) {
  const NSError error{"a", 1, "x"};
  EXPECT_EQ(error, (NSError{"a", 1, "x"}));
  EXPECT_NE(error, (NSError{"b", 1, "x"}));
  EXPECT_NE(error, (NSError{"a", 2, "x"}));
  EXPECT_NE(error, (NSError{"a", 1, "y"}));
}

}  // namespace
}  // namespace korvane
