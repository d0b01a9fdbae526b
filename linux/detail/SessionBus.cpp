#include "linux/detail/SessionBus.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace korvane {
namespace {

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
  const GPointer<char> address(
      g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
  if (!address) return nullptr;
  const auto flags =
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  const TimeLimit timeLimit(limit);
  return GObjectPointer<GDBusConnection>(g_dbus_connection_new_for_address_sync(
      address.get(), flags, nullptr, timeLimit.cancellable(), error.out()));
}

}  // namespace korvane
