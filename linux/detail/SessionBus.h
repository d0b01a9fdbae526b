#pragma once

#include <chrono>
#include <string>

#include "linux/detail/GLibPointer.h"
#include "platform/Export.h"

// For sources only: it names GLib's types.
namespace korvane {

/// How long a session bus may take for a connection.
constexpr std::chrono::milliseconds kBusPatience{5'000};

/// A connection to the session bus of our own: the end of the shared one would end the process.
/// Null where there is no session bus, and where it did not take the connection within the limit:
/// then the error is G_IO_ERROR_CANCELLED. Where there is too little memory, or too many threads or
/// files are open, the error is G_IO_ERROR_NO_SPACE and its message a line for people. Any thread
/// may call.
KORVANE_EXPORT GObjectPointer<GDBusConnection> connectToSessionBus(std::chrono::milliseconds limit,
                                                                   GErrorSlot& error);

/// The same for a program that answers on the bus, and that the end of the bus ends. Null with the
/// reason, a line for people, where there is none.
KORVANE_EXPORT GObjectPointer<GDBusConnection> connectService(
    std::string& reason, std::chrono::milliseconds limit = kBusPatience);

}  // namespace korvane
