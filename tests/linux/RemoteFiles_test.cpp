#include "linux/detail/RemoteFiles.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace korvane {
namespace {

TEST(RemoteFiles, KnowsTheSchemesOfFileSystems) {
  for (const char* scheme : {"sftp", "smb", "SMB", "mtp", "trash", "dav", "davs", "ftp", "afp",
                             "google-drive", "recent", "nfs", "gphoto2"}) {
    EXPECT_TRUE(isRemoteFileScheme(scheme)) << scheme;
  }
  for (const char* scheme : {"http", "https", "mailto", "tel", "file", "", "data", "javascript",
                             "korvane", "sft", "sftpx"}) {
    EXPECT_FALSE(isRemoteFileScheme(scheme)) << scheme;
  }
}

TEST(RemoteFiles, WhatTheDesktopHasNotMountedHasNoPath) {
  ::setenv("GIO_USE_VFS", "local", 1);  // no service of the user's desktop is asked
  for (const char* url : {"sftp://a.example/x", "smb://a.example/share/x", "trash:///x",
                          "mtp://[x]", "sftp:", "recent:///none"}) {
    EXPECT_EQ(localPathOfRemoteFile(url), std::nullopt) << url;
  }
}

TEST(RemoteFiles, WhatHasALocalPathGivesIt) {
  ::setenv("GIO_USE_VFS", "local", 1);
  EXPECT_EQ(localPathOfRemoteFile("file:///tmp/a%20b"), "/tmp/a b");
}

}  // namespace
}  // namespace korvane
