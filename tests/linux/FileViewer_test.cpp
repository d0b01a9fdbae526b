#include "linux/detail/FileViewer.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "support/FakeNotificationServer.h"
#include "support/PrivateDesktop.h"

namespace korvane {
namespace {

TEST(FileViewer, AFileIsShownSelectedInItsFolder) {
  testing::PrivateDesktop desktop;
  desktop.startBus();
  const std::string address = desktop.variable("DBUS_SESSION_BUS_ADDRESS");
  ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
  testing::FakeNotificationServer server(address);
  EXPECT_TRUE(showInFileManager("/a/b c\u00e9.txt", {std::nullopt, "startup"}));
  EXPECT_EQ(server.next().arguments, "(['file:///a/b%20c%C3%A9.txt'], 'startup')");
  EXPECT_TRUE(showInFileManager("/a/b", {}));
  EXPECT_EQ(server.next().arguments, "(['file:///a/b'], '')");
}

TEST(FileViewer, WithoutAFileManagerNothingIsShown) {
  testing::PrivateDesktop desktop;
  for (const char* name : {"XDG_DATA_HOME", "XDG_DATA_DIRS", "DBUS_SESSION_BUS_ADDRESS"}) {
    ::setenv(name, desktop.variable(name).c_str(), 1);
  }
  EXPECT_FALSE(showInFileManager("/a/b", {}));
}

}  // namespace
}  // namespace korvane
