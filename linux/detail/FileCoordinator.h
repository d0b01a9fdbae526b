#pragma once

#include <memory>

#include "linux/detail/ContainerRoot.h"
#include "platform/Export.h"
#include "platform/NSFileCoordinator.h"

namespace korvane {

/// Coordinated access by locks of the kernel on one lock file beside the container; the protocol is
/// docs/coordination.md. Any thread may call. Beside what NSFileCoordinator says:
///
/// - Accesses of the threads of one process run in the order in which they were asked for. Between
///   processes there is no order, but no access waits for an unrelated one.
/// - A thread may coordinate another, unrelated item inside an accessor; callers that do so in
///   opposite orders wait for one another until their time is over. A related item is refused with
///   EDEADLK.
/// - An access that does not get its locks within `longestWait` seconds fails with ETIMEDOUT.
/// Between
///   processes the time is that of the Platform's clock.
/// - An absent URL, one that is not a file URL and a process without a container give EINVAL.
/// - A process that forks inside an accessor, without an exec, shares the access with its child: it
///   ends when both are through with it. A program that is executed does not get it.
class KORVANE_EXPORT FileCoordinator : public NSFileCoordinator {
 public:
  static constexpr double kLongestWait = 10;

  explicit FileCoordinator(ContainerRoot container = ContainerRoot(),
                           double longestWait = kLongestWait);
  ~FileCoordinator() override;

  void coordinateWritingItemAtURL(const std::optional<NSURL>& url,
                                  NSFileCoordinatorWritingOptions options,
                                  std::optional<NSError>& error,
                                  const std::function<void(const NSURL&)>& accessor) override;

 private:
  class Access;
  struct Queue;

  ContainerRoot container_;
  double longestWait_;
  std::unique_ptr<Queue> queue_;
};

}  // namespace korvane
