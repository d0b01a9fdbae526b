#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Export.h"

namespace korvane {

/// The session's clipboard, read by the programs that desktops have for it: wl-paste where there is
/// a Wayland session, xclip where there is an X11 one. One thread at a time.
class KORVANE_EXPORT Clipboard {
 public:
  virtual ~Clipboard() = default;

  /// The clipboard of this session. Null, and one line for people in `reason`, where there is no
  /// session to ask or its program is not installed.
  static std::unique_ptr<Clipboard> ofSession(std::string& reason);

  /// The types that the owner of the clipboard offers: MIME types and X11's own names, in its
  /// order. Empty for an empty clipboard, and where its owner does not answer within five seconds.
  virtual std::vector<std::string> types() = 0;
  /// What the clipboard holds as one of those types. Nothing where it is over `maxSize` bytes,
  /// where the owner cannot give it, or where it does not come within thirty seconds.
  virtual std::optional<std::string> read(const std::string& type, std::size_t maxSize) = 0;
};

}  // namespace korvane
