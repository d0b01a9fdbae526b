#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "platform/Export.h"
#include "platform/NSURL.h"

namespace korvane {

// The platform's launch options this system uses, each alone.
inline constexpr unsigned NSWorkspaceLaunchWithoutActivation = 0x200;
inline constexpr unsigned NSWorkspaceLaunchAllowingClassicStartup = 0x20000;

/// The desktop's applications; a service of the Platform. Any thread may call.
class KORVANE_EXPORT NSWorkspace {
 public:
  virtual ~NSWorkspace() = default;

  /// The workspace of the installed Platform.
  static std::shared_ptr<NSWorkspace> sharedWorkspace();

  /// Opens all URLs, in one request, with the application of the identifier; starts it where it
  /// does not run. `options` is one of the values above: without activation the application is not
  /// brought to the front. Returns when the application has answered, or has not for so long that
  /// nobody should wait any more. True when it took the request; false when there is no such
  /// application, it refused or did not answer, or `urls` is empty.
  virtual bool openURLs(const std::vector<NSURL>& urls, std::string_view withAppBundleIdentifier,
                        unsigned options) = 0;
};

}  // namespace korvane
