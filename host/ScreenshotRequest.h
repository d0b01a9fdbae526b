#pragma once

#include <ctime>
#include <memory>
#include <string>

#include "host/Cancellation.h"
#include "host/ShareRequest.h"
#include "linux/detail/FetchFolder.h"

namespace korvane {

/// A picture of the screen, taken now by the person, as something to share: a copy of the desktop's
/// file, which stays where the desktop put it. The copy goes with this object.
class ScreenshotRequest {
 public:
  /// Waits as long as the person takes. The copy lies in a private folder in `parent`, an absolute
  /// path. Throws std::runtime_error, one line for people, where there is no picture or no
  /// place for the copy; `cancellation` is cancelled then if the person wanted none.
  ScreenshotRequest(const std::string& parent, Cancellation& cancellation);

  /// One item with the file.
  const ShareRequest& request() const { return request_; }

 private:
  const std::string taken_;  // the desktop's file
  const std::unique_ptr<const FetchFolder> folder_;
  ShareRequest request_;
};

/// What the copy of a picture, with this path, is called: after the local time, "Screenshot
/// 2026-11-21 14-05-09.png". Keeps the file's extension; ".png" where it has none.
std::string screenshotName(std::time_t time, const std::string& path);

}  // namespace korvane
