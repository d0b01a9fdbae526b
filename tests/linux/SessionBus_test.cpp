#include "linux/detail/SessionBus.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "support/PrivateDesktop.h"

namespace korvane {
namespace {

constexpr std::chrono::minutes kLong{5};

TEST(SessionBus, EachConnectionIsOnesOwn) {
  testing::PrivateDesktop desktop;
  desktop.startBus();
  ::setenv("DBUS_SESSION_BUS_ADDRESS", desktop.variable("DBUS_SESSION_BUS_ADDRESS").c_str(), 1);
  GErrorSlot error;
  const auto one = connectToSessionBus(kLong, error);
  const auto other = connectToSessionBus(kLong, error);
  ASSERT_TRUE(one && other) << error.message();
  EXPECT_STRNE(g_dbus_connection_get_unique_name(one.get()),
               g_dbus_connection_get_unique_name(other.get()));
  EXPECT_FALSE(g_dbus_connection_get_exit_on_close(one.get()));
}

TEST(SessionBus, NoneIsTold) {
  ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  GErrorSlot error;
  EXPECT_FALSE(connectToSessionBus(kLong, error));
  EXPECT_FALSE(error.is(G_IO_ERROR, G_IO_ERROR_CANCELLED));
}

TEST(SessionBus, OneThatSaysNothingIsGivenUp) {
  testing::PrivateDesktop desktop;
  const testing::SilentBus bus(desktop.folder / "bus");
  ::setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
  GErrorSlot error;
  EXPECT_FALSE(connectToSessionBus(std::chrono::milliseconds(100), error));
  EXPECT_TRUE(error.is(G_IO_ERROR, G_IO_ERROR_CANCELLED)) << error.message();
}

}  // namespace
}  // namespace korvane
