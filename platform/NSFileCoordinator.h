#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "platform/Export.h"
#include "platform/NSError.h"
#include "platform/NSURL.h"

namespace korvane {

/// Options of a coordinated write.
enum class NSFileCoordinatorWritingOptions : unsigned { forDeleting = 1 };

/// Coordinated access to files across processes; a service of the Platform. Any thread may call.
class KORVANE_EXPORT NSFileCoordinator {
 public:
  virtual ~NSFileCoordinator() = default;

  /// The coordinator of the installed Platform.
  static std::shared_ptr<NSFileCoordinator> coordinator();

  /// Runs `accessor` once, on the calling thread, while no other coordinated access to the item, to
  /// anything inside it or to a folder that holds it runs in any process that coordinates; waits
  /// for that, though not for ever. The access ends when the accessor returns or throws, or when
  /// the process ends, however it ends. `accessor` gets the URL to use.
  ///
  /// When coordination itself fails (an absent URL, no room for locks, another access that does not
  /// end, an access inside a conflicting one of the same thread) the accessor does not run, and
  /// `error` tells why.
  virtual void coordinateWritingItemAtURL(const std::optional<NSURL>& url,
                                          NSFileCoordinatorWritingOptions options,
                                          std::optional<NSError>& error,
                                          const std::function<void(const NSURL&)>& accessor) = 0;
};

}  // namespace korvane
