#include "linux/detail/SessionBus.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>

#include "support/ChildProcess.h"
#include "support/PrivateDesktop.h"

namespace korvane {
namespace {

constexpr std::chrono::milliseconds kNoPatience{50};

/// Before those below, which start threads that a forked process would lack.
class SessionBusTest : public ::testing::Test {
 protected:
  /// Runs the work in a process of its own, in which the desktop's bus is the session bus.
  bool inSession(const std::function<bool()>& work) const {
    return testing::inChild([&] {
             ::alarm(60);
             ::setenv("DBUS_SESSION_BUS_ADDRESS",
                      desktop.variable("DBUS_SESSION_BUS_ADDRESS").c_str(), 1);
             return work();
           }) == 0;
  }
  static bool hasNoRoom() {
    GErrorSlot error;
    return !connectToSessionBus(kBusPatience, error) && error.is(G_IO_ERROR, G_IO_ERROR_NO_SPACE) &&
           error.message() == "there is not enough memory, or too many threads or files are open";
  }

  testing::PrivateDesktop desktop;
};

TEST_F(SessionBusTest, AServiceIsConnectedAndEndsWithTheBus) {
  desktop.startBus();
  EXPECT_TRUE(inSession([] {
    std::string reason;
    const auto bus = connectService(reason);
    return bus && reason.empty() && g_dbus_connection_get_exit_on_close(bus.get()) &&
           g_dbus_connection_get_unique_name(bus.get());
  }));
}

TEST_F(SessionBusTest, WithoutABusAServiceIsToldSo) {
  EXPECT_TRUE(inSession([] {
    std::string reason;
    return !connectService(reason) && reason.starts_with("there is no session bus: ") &&
           reason.size() > 30;
  }));
}

TEST_F(SessionBusTest, AServiceDoesNotWaitForABusThatSaysNothing) {
  const testing::SilentBus bus(desktop.folder / "bus");
  desktop.set("DBUS_SESSION_BUS_ADDRESS", bus.address());
  EXPECT_TRUE(inSession([] {
    std::string reason;
    return !connectService(reason, kNoPatience) && reason == "the session bus does not answer";
  }));
  EXPECT_EQ(kBusPatience, std::chrono::seconds(5));
}

TEST_F(SessionBusTest, WantOfDescriptorsOrThreadsIsAnErrorNotTheEnd) {
  desktop.startBus();
  EXPECT_TRUE(inSession([] { return testing::setLimit(RLIMIT_NOFILE, 6) && hasNoRoom(); }));
  EXPECT_TRUE(inSession([] {
    std::string reason;
    return testing::setLimit(RLIMIT_NOFILE, 6) && !connectService(reason) &&
           reason.starts_with("there is not enough memory");
  }));
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_TRUE(inSession([] {
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    constexpr rlim_t kLeft = rlim_t{12} << 20;  // less than the stacks of three threads
    const auto pageSize = static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
    return testing::setLimit(RLIMIT_AS, pages * pageSize + kLeft) && hasNoRoom();
  }));
#endif
}

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
