#include "extension/detail/Coordination.h"

#include "platform/NSFileCoordinator.h"
#include "platform/NSLog.h"

namespace korvane {

void coordinate(const std::optional<NSURL>& url, const char* failureFormat,
                const std::function<void(const NSURL&)>& accessor) {
  std::optional<NSError> error;
  NSFileCoordinator::coordinator()->coordinateWritingItemAtURL(
      url, NSFileCoordinatorWritingOptions::forDeleting, error, accessor);
  if (error) NSLog(failureFormat, kErrorMark, error);
}

}  // namespace korvane
