#pragma once

#include <chrono>

#include "linux/detail/GLibPointer.h"
#include "platform/Export.h"

// For sources only: it names GLib's types.
namespace korvane {

/// A connection to the session bus of our own: the end of the shared one would end the process.
/// Null where there is no session bus, and where it did not take the connection within the limit:
/// then the error is G_IO_ERROR_CANCELLED. Any thread may call.
KORVANE_EXPORT GObjectPointer<GDBusConnection> connectToSessionBus(std::chrono::milliseconds limit,
                                                                   GErrorSlot& error);

}  // namespace korvane
