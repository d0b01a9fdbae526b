#include "linux/detail/SessionBus.h"

#include <sys/eventfd.h>

#include <array>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>

#include "linux/detail/FileDescriptor.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

/// Whether GLib will get what it needs: without a thread, a descriptor or memory it ends the
/// process. So all three are tried before.
bool hasRoomForGLib() {
  constexpr std::size_t kThreads = 3;  // GLib's own, the bus's, and that of the time limit
  constexpr std::size_t kDescriptors = 8;
  constexpr std::size_t kMemory = std::size_t{4} << 20;
  std::array<FileDescriptor, kDescriptors> descriptors;
  for (FileDescriptor& descriptor : descriptors) {
    descriptor = FileDescriptor(::eventfd(0, EFD_CLOEXEC));
    if (!descriptor) return false;
  }
  std::mutex mutex;
  std::array<std::jthread, kThreads> threads;
  const std::lock_guard all(mutex);  // let go before the threads are waited for
  try {
    for (std::jthread& thread : threads)
      thread = std::jthread([&] { std::lock_guard lock(mutex); });
    return std::make_unique_for_overwrite<char[]>(kMemory) != nullptr;
  } catch (const std::system_error&) {
    return false;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

/// Cancels what goes on when it has gone on for long enough.
class TimeLimit {
 public:
  explicit TimeLimit(std::chrono::milliseconds limit)
      : cancellable_(g_cancellable_new()), watcher_([this, limit] {
          std::unique_lock lock(mutex_);
          if (!changed_.wait_for(lock, limit, [this] { return ended_; })) {
            g_cancellable_cancel(cancellable_.get());
          }
        }) {}
  ~TimeLimit() {
    {
      std::lock_guard lock(mutex_);
      ended_ = true;
    }
    changed_.notify_all();
    watcher_.join();
  }
  TimeLimit(const TimeLimit&) = delete;
  TimeLimit& operator=(const TimeLimit&) = delete;
  GCancellable* cancellable() const { return cancellable_.get(); }

 private:
  const GObjectPointer<GCancellable> cancellable_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ended_ = false;
  std::thread watcher_;
};

}  // namespace

GObjectPointer<GDBusConnection> connectToSessionBus(std::chrono::milliseconds limit,
                                                    GErrorSlot& error) {
  if (!hasRoomForGLib()) {
    const std::string line =
        translated("there is not enough memory, or too many threads or files are open");
    g_set_error_literal(error.out(), G_IO_ERROR, G_IO_ERROR_NO_SPACE, line.c_str());
    return nullptr;
  }
  const GPointer<char> address(
      g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, error.out()));
  if (!address) return nullptr;
  const auto flags =
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  const TimeLimit timeLimit(limit);
  return GObjectPointer<GDBusConnection>(g_dbus_connection_new_for_address_sync(
      address.get(), flags, nullptr, timeLimit.cancellable(), error.out()));
}

GObjectPointer<GDBusConnection> connectService(std::string& reason,
                                               std::chrono::milliseconds limit) {
  GErrorSlot error;
  auto bus = connectToSessionBus(limit, error);
  if (bus) {
    g_dbus_connection_set_exit_on_close(bus.get(), TRUE);
  } else if (error.is(G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
    reason = translated("the session bus does not answer");
  } else if (error.is(G_IO_ERROR, G_IO_ERROR_NO_SPACE)) {
    reason = error.message();
  } else {
    reason = translated("there is no session bus: {0}", error.message());
  }
  return bus;
}

}  // namespace korvane
