#pragma once

#include <memory>
#include <optional>

#include "model/ExtensionMessage.h"
#include "platform/Export.h"
#include "platform/NSError.h"

namespace korvane {

/// What the controller has the extraction call: opens the message's compose command in the mail
/// client. An error is logged and ends the share; without a message, or with one that gives no URL,
/// nothing is opened and nothing is logged. A refused launch is not reported. Uses nothing of the
/// controller, which may be gone by then. Any thread.
KORVANE_EXPORT void shareFull(const std::shared_ptr<ExtensionMessage>& message,
                              const std::optional<NSError>& error);

}  // namespace korvane
